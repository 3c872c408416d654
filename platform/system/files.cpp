// SPDX-License-Identifier: MIT
#include <platform/system/files.h>

#include <platform/system/folders.h>
#include <platform/system/wipe.h>

#include <algorithm>
#include <string_view>

namespace platform {

namespace {

constexpr std::size_t longestTail = 32; // letters and digits after the mark

// Returns the name of the file that this one would have replaced; empty when it is not a temporary file.
std::string replacedBy(const std::string& name) {
    const std::size_t mark = name.rfind(unfinishedMark);
    if (mark == std::string::npos) return {};
    const std::string tail = name.substr(mark + std::string_view(unfinishedMark).size());
    const bool isOurs =
        !tail.empty() && tail.size() <= longestTail && std::all_of(tail.begin(), tail.end(), [](char c) {
            return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        });
    return isOurs ? name.substr(0, mark) : std::string();
}

} // namespace

FileError tooLargeFile(const std::string& path, std::uint64_t size, std::uint64_t limit) {
    FileError error(path,
                    "too large: " + std::to_string(size) + " bytes, at most " + std::to_string(limit) + " are taken");
    error.tooLarge = size;
    return error;
}

void replaceOwnFile(const std::string& path, const std::string& content) { OwnFileDraft(path, content).publish(); }

void updateOwnFile(const std::string& path, const std::string& content) {
    std::string present;
    const WipeOnExit wiped(present);
    try {
        present = readOwnFile(path, content.size());
        if (present == content) return;
    } catch (const FileError&) {} // if it can't be replaced either, that says why
    replaceOwnFile(path, content);
}

void removeUnfinished(const std::string& folder, const std::function<bool(const std::string& name)>& isOwn) {
    for (const std::string& name : namesIn(folder)) {
        const std::string replaced = replacedBy(name);
        const std::string path = folder + "/" + name;
        try {
            if (!replaced.empty() && isOwn(replaced) && typeOf(path) == FileType::regular) removeFile(path);
        } catch (const FileError&) {} // it stays
    }
}

} // namespace platform
