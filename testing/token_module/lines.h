// SPDX-License-Identifier: MIT
//
// The text format of all files in the test token's folder: lines "key: value". Blank lines and lines that begin with #
// are ignored.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace panelkit::testing {

// Views of the text that was parsed, without surrounding blanks.
struct Line {
    std::string_view key;
    std::string_view value; // empty when there is no colon
};
std::vector<Line> parseLines(std::string_view text);
std::string formatLine(std::string_view key, std::string_view value);

// Returns the parts of a value, which are separated by blanks.
std::vector<std::string_view> words(std::string_view value);

// A decimal number, or a hexadecimal one after "0x". Throws std::invalid_argument for anything else.
std::uint64_t number(std::string_view text);

// Reads hexadecimal digits straight into `bytes`, so that a secret leaves no copy. Throws std::invalid_argument when a
// digit is wrong or missing.
void fromHexDigits(std::string_view digits, std::string& bytes);

// A hash of names: the same everywhere, and not cryptographic.
std::uint64_t spread(std::string_view text, std::uint64_t seed = 0);

} // namespace panelkit::testing
