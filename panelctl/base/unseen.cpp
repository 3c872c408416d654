// SPDX-License-Identifier: MIT
#include <panelctl/base/unseen.h>

#include <panelctl/base/failure_text.h>
#include <panelctl/base/output.h>
#include <panelctl/base/say.h>

#include <panelkit/monitor/unseen.h>

#include <algorithm>

namespace panelctl {

namespace {

// What the listings of this run have left out. Each token is in it once.
std::vector<std::string>& unseen() {
    static std::vector<std::string> texts;
    return texts;
}

} // namespace

void noteUnseen() {
    for (const panelkit::Unseen& part : panelkit::lastUnseen()) {
        std::string text = inOneLine(remarksText(part.remarks, {}));
        if (std::find(unseen().begin(), unseen().end(), text) == unseen().end()) unseen().push_back(std::move(text));
    }
}

void printNone(const std::string& text) {
    if (unseen().empty()) printNote(text);
}

void requireAllSeen() {
    if (!unseen().empty()) throw CommandError(Exit::incomplete, say("this list is incomplete"), unseen());
}

CommandError notFoundError(const std::string& text) {
    if (unseen().empty()) return {Exit::notFound, text};
    return {Exit::incomplete, say("%s, as far as the tokens could be read", text), unseen()};
}

} // namespace panelctl
