// SPDX-License-Identifier: MIT
#include <panelctl/base/failure_text.h>

#include <panelctl/base/say.h>
#include <vocabulary/refusals.h>

namespace panelctl {

using vocabulary::Refused;

namespace {

std::string shown(const Loc::Phrase& phrase) {
    return Loc::fill(messages().translated(phrase.wording), phrase.arguments);
}

// Most remarks are followed by their reason. Those of a list are not.
bool standsAlone(const bridge::Remark& remark) {
    switch (static_cast<Refused>(remark.code)) {
    case Refused::policyLine:
    case Refused::damagedBlock:
    case Refused::policyCopy:
    case Refused::notVerified:
    case Refused::chainLink:
    case Refused::notCounted:
    case Refused::tunnelIsUp:
    case Refused::trusted: return true;
    default: return false;
    }
}

} // namespace

std::string failureText(const bridge::Failure& failure) {
    if (failure.phrases.empty()) return std::string(messages().translated(bridge::describe(failure.code)));
    std::vector<Loc::Phrase> phrases = failure.phrases;
    for (Loc::Phrase& phrase : phrases) phrase.wording = messages().translated(phrase.wording);
    return Loc::fill(phrases);
}

std::string remarksText(std::span<const bridge::Remark> remarks, const std::string& otherwise) {
    if (remarks.empty()) return otherwise;
    std::string text;
    const char* separator = "";
    for (const bridge::Remark& remark : remarks) {
        if (text.size() > Loc::longestFilled) return text + "...";
        text += separator + shown(remark.phrase);
        separator = standsAlone(remark) ? "\n" : ": ";
    }
    return text;
}

std::string inOneLine(const std::string& lines) {
    std::string line;
    for (const char c : lines.substr(0, lines.find_last_not_of('\n') + 1)) line += c == '\n' ? "; " : std::string(1, c);
    return line;
}

std::string remarksText(const std::vector<panelkit::StateRemark>& remarks) {
    std::vector<bridge::Remark> list;
    for (const panelkit::StateRemark& remark : remarks) {
        list.push_back({remark.code, {remark.wording, remark.arguments}});
    }
    return inOneLine(remarksText(list, {}));
}

std::string incompleteReplyText() {
    return say("the service sent an incomplete reply; do the library and the service have the same version?");
}

} // namespace panelctl
