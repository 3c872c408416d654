// SPDX-License-Identifier: MIT
//
// Comparing names whatever their case. Only ASCII letters have one here: what a comparison says must not depend on the
// locale of the process.
#pragma once

#include <algorithm>
#include <string_view>

namespace panelkit {

constexpr char asciiLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

constexpr bool equalIgnoringCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return asciiLower(x) == asciiLower(y); });
}

} // namespace panelkit
