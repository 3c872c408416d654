// SPDX-License-Identifier: MIT
//
// Choosing one object of a listing by its name. There may be several ways in which a name can fit, and the first way in
// which it fits anything decides.
#pragma once

#include <panelctl/certs/cert_names.h>

#include <vocabulary/tokens.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace panelctl {

// Hexadecimal digits in the form of the records; people and other programs also write "0a:1B". Empty for other text.
std::string hexDigits(const std::string& text);

// Whether the digits are enough to name an object by the beginning of its fingerprint, and are that.
bool beginsFingerprint(const std::string& digits, const std::string& fingerprint);

template <class Object>
using Test = std::function<bool(const OnToken<Object>&)>;

// A text for each entry.
template <class Object, class Teller>
std::vector<std::string> textsOf(const std::vector<OnToken<Object>>& listed, const Teller& teller) {
    std::vector<std::string> texts(listed.size());
    std::transform(listed.begin(), listed.end(), texts.begin(), teller);
    return texts;
}

template <class Object>
std::vector<OnToken<Object>> matching(const std::vector<OnToken<Object>>& listed, const Test<Object>& test) {
    std::vector<OnToken<Object>> found;
    for (const OnToken<Object>& entry : listed) {
        if (!test(entry)) continue;
        const bool again = std::any_of(found.begin(), found.end(), [&](const OnToken<Object>& other) {
            return other.object == entry.object && sameToken(other.token, entry.token);
        });
        if (!again) found.push_back(entry); // two equal entries are one object to the service too
    }
    return found;
}

// A line for each candidate, told apart. An object that comes twice, since two providers show its token, has the same
// line twice: to these the provider is added.
std::vector<std::string> toldApart(std::vector<std::string> lines, const std::vector<std::string>& providers);

// The only entry that passes the first test which any entry passes. Nothing when none does.
template <class Object>
std::optional<OnToken<Object>> onlyOne(const std::vector<OnToken<Object>>& listed,
                                       const std::vector<Test<Object>>& tests, const std::string& name,
                                       std::string (*candidateLine)(const OnToken<Object>&)) {
    for (const Test<Object>& test : tests) {
        const std::vector<OnToken<Object>> found = matching(listed, test);
        if (found.size() == 1) return found.front();
        if (found.empty()) continue;
        failAmbiguous(name, toldApart(textsOf(found, candidateLine), textsOf(found, [](const OnToken<Object>& entry) {
                                          return entry.token.*vocabulary::token::provider;
                                      })));
    }
    return std::nullopt;
}

} // namespace panelctl
