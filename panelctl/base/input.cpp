// SPDX-License-Identifier: MIT
#include <panelctl/base/input.h>

#include <panelctl/base/exit_codes.h>
#include <panelctl/base/say.h>
#include <panelctl/base/system.h>

#include <platform/system/wipe.h>

#include <algorithm>

namespace panelctl {

namespace {

void enlarge(std::string& text, std::size_t size) {
    std::string larger;
    larger.resize(size);
    std::copy(text.begin(), text.end(), larger.begin());
    platform::wipe(text);
    text.swap(larger);
}

} // namespace

std::string inputName(const std::string& utf8Path) { return utf8Path == "-" ? say("standard input") : utf8Path; }

std::string readInput(const std::string& utf8Path, std::size_t limit) {
    const OpenedFile file(utf8Path);
    std::string text;
    std::size_t size = 0;
    for (;;) {
        if (size == text.size()) enlarge(text, std::min(2 * size + 65536, limit + 1));
        const std::size_t count = readSome(file.descriptor(), text.data() + size, text.size() - size);
        size += count;
        if (count == 0) break;
        if (size <= limit) continue;
        platform::wipe(text);
        throw CommandError(Exit::tooLarge, say("%s is larger than %d bytes", inputName(utf8Path), limit));
    }
    text.resize(size);
    return text;
}

} // namespace panelctl
