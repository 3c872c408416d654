// SPDX-License-Identifier: MIT
#include <panelctl/failure_text.h>

#include <panelctl/say.h>

#include <string_view>

namespace panelctl {

namespace {

// The sentences with which the bridge's texts begin (platform/bridge/failure.cpp).
constexpr Label sentences[] = {
    N_("access denied"),
    N_("the service speaks another version of the protocol"),
    N_("the service does not answer"),
    N_("the connection to the service was lost"),
    N_("the service isn't running"),
    N_("the service refused the command"),
    N_("the request is too large"),
    N_("the service is run by an account that is not trusted"),
    N_("the service accepts no more sessions"),
    N_("the endpoint can't be used"),
};

} // namespace

std::string failureText(const bridge::Failure& failure) {
    for (const Label& sentence : sentences) {
        const std::string_view begin = sentence.text();
        if (failure.text.starts_with(begin)) return say(sentence) + failure.text.substr(begin.size());
    }
    return failure.text;
}

std::string incompleteReplyText() {
    return say("the service sent an incomplete reply; do the library and the service have the same version?");
}

} // namespace panelctl
