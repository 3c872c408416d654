// SPDX-License-Identifier: MIT
#include <panelctl/base/unseen.h>

#include <panelctl/base/failure_text.h>
#include <panelctl/base/output.h>
#include <panelctl/base/say.h>

#include <panelkit/monitor/unseen.h>

#include <nlohmann/json.hpp>

#include <algorithm>

namespace panelctl {

namespace {

struct Seen {
    std::vector<std::string> unseen; // what the listings of this run have left out; each token is in it once
    bool someUnreadable = false;     // not all of it just needs a log-in
    bool strict = false;
};

Seen& seen() {
    static Seen state;
    return state;
}

bool needsLogin(const panelkit::Unseen& part) {
    return std::any_of(part.remarks.begin(), part.remarks.end(), [](const bridge::Remark& remark) {
        return remark.code == static_cast<std::uint32_t>(vocabulary::Refused::notLoggedIn);
    });
}

} // namespace

void setStrict(bool strict) { seen().strict = strict; }

void noteUnseen() {
    std::vector<std::string>& unseen = seen().unseen;
    for (const panelkit::Unseen& part : panelkit::lastUnseen()) {
        std::string text = inOneLine(remarksText(part.remarks, {}));
        if (std::find(unseen.begin(), unseen.end(), text) == unseen.end()) unseen.push_back(std::move(text));
        if (!needsLogin(part)) seen().someUnreadable = true;
    }
}

void forgetUnseen() {
    seen().unseen.clear();
    seen().someUnreadable = false;
}

void printNone(const std::string& text) {
    if (seen().unseen.empty()) printNote(text);
}

void requireAllSeen() {
    if (seen().unseen.empty()) return;
    CommandError error(Exit::incomplete, say("this list is incomplete"), seen().unseen);
    if (seen().strict || seen().someUnreadable) throw CommandError(error);
    noteError(error);
}

CommandError notFoundError(const std::string& text) {
    if (seen().unseen.empty()) return {Exit::notFound, text};
    return {Exit::incomplete, say("%s, as far as the tokens could be read", text), seen().unseen};
}

} // namespace panelctl
