// SPDX-License-Identifier: MIT
#include <panelctl/failure_text.h>

#include <panelctl/text_table.h>
#include <panelctl/texts.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace panelctl {

namespace {

// With the bridge's own words as wordings.
constexpr std::array words = {
    Say::failureAccessDenied, Say::failureVersion,  Say::failureTimedOut, Say::failureLost,       Say::failureNoService,
    Say::failureRefused,      Say::failureTooLarge, Say::failureStranger, Say::failureOverloaded, Say::failureEndpoint,
};

} // namespace

std::string failureText(const bridge::Failure& failure) {
    const std::string_view said = failure.text;
    const auto known =
        std::find_if(words.begin(), words.end(), [&](Say word) { return said.starts_with(defaultWording(word)); });
    if (known == words.end()) return failure.text;
    return text(*known) + failure.text.substr(std::string_view(defaultWording(*known)).size());
}

} // namespace panelctl
