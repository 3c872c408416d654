// SPDX-License-Identifier: MIT
#include <panelctl/base/unseen.h>

#include <panelctl/base/failure_text.h>
#include <panelctl/base/output.h>
#include <panelctl/base/say.h>

#include <platform/bridge/failure.h>
#include <vocabulary/refusals.h>

#include <algorithm>

namespace panelctl {

namespace {

// What the listings of this run have left out. Each token is in it once.
std::vector<std::string>& unseen() {
    static std::vector<std::string> texts;
    return texts;
}

bool beginsOne(const bridge::Remark& remark) {
    return remark.code == static_cast<std::uint32_t>(vocabulary::Refused::incomplete);
}

} // namespace

// Each is followed by its reasons.
void noteUnseen() {
    const std::vector<bridge::Remark>& remarks = bridge::lastRemarks();
    auto begin = std::find_if(remarks.begin(), remarks.end(), beginsOne);
    while (begin != remarks.end()) {
        const auto end = std::find_if(begin + 1, remarks.end(), beginsOne);
        std::string text = inOneLine(remarksText({begin, end}, {}));
        if (std::find(unseen().begin(), unseen().end(), text) == unseen().end()) unseen().push_back(std::move(text));
        begin = end;
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
