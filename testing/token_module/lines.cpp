// SPDX-License-Identifier: MIT
#include <testing/token_module/lines.h>

#include <charconv>
#include <stdexcept>

namespace panelkit::testing {

namespace {

constexpr std::string_view blanks = " \t\r";

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

template <class T>
T numberIn(std::string_view digits, int base) {
    T number{};
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number, base);
    if (error != std::errc() || end != digits.data() + digits.size()) {
        throw std::invalid_argument("not a number: " + std::string(digits));
    }
    return number;
}

} // namespace

std::vector<Line> parseLines(std::string_view text) {
    std::vector<Line> lines;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        const std::string_view line = trimmed(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (line.empty() || line.front() == '#') continue;
        const std::size_t colon = line.find(':');
        const std::string_view value = colon == std::string_view::npos ? "" : line.substr(colon + 1);
        lines.push_back({trimmed(line.substr(0, colon)), trimmed(value)});
    }
    return lines;
}

std::string formatLine(std::string_view key, std::string_view value) {
    return std::string(key) + ": " + std::string(value) + "\n";
}

std::vector<std::string_view> words(std::string_view value) {
    std::vector<std::string_view> all;
    while (!(value = trimmed(value)).empty()) {
        all.push_back(value.substr(0, value.find_first_of(blanks)));
        value.remove_prefix(all.back().size());
    }
    return all;
}

std::uint64_t number(std::string_view text) {
    const bool hexadecimal = text.starts_with("0x");
    return numberIn<std::uint64_t>(hexadecimal ? text.substr(2) : text, hexadecimal ? 16 : 10);
}

void fromHexDigits(std::string_view digits, std::string& bytes) {
    bytes.resize(digits.size() / 2);
    if (digits.size() != 2 * bytes.size()) throw std::invalid_argument("a digit without its pair");
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(numberIn<unsigned char>(digits.substr(2 * i, 2), 16));
    }
}

// FNV-1a.
std::uint64_t spread(std::string_view text, std::uint64_t seed) {
    std::uint64_t value = 0xCBF29CE484222325 ^ seed;
    for (const char c : text) value = (value ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    return value;
}

} // namespace panelkit::testing
