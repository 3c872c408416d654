// SPDX-License-Identifier: MIT
//
// The text that all files of the test token's folder are made of: lines "key: value". Blank lines and lines that
// begin with # count for nothing.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace panelkit::testing {

// Views of the text that was parsed, without the blanks round them.
struct Line {
    std::string_view key;
    std::string_view value; // empty when there is no colon
};
std::vector<Line> parseLines(std::string_view text);
std::string formatLine(std::string_view key, std::string_view value);

// The parts of a value that blanks separate.
std::vector<std::string_view> words(std::string_view value);

// A decimal number, or a hexadecimal one behind "0x". Throws std::invalid_argument for anything else.
std::uint64_t number(std::string_view text);

// Reads hexadecimal digits straight into `bytes`, so that a secret leaves no copy. Throws std::invalid_argument when a
// digit is wrong or missing.
void fromHexDigits(std::string_view digits, std::string& bytes);

// A spread of names over numbers: the same everywhere, and no cryptography.
std::uint64_t spread(std::string_view text, std::uint64_t seed = 0);

} // namespace panelkit::testing
