// SPDX-License-Identifier: MIT
#include "bytes.h"

#include <stdexcept>

std::string hex(std::string_view text) {
    std::string bytes;
    std::string digits;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\'') {
            const std::size_t end = text.find('\'', i + 1);
            bytes += text.substr(i + 1, end - i - 1);
            i = end;
        } else if (c != ' ' && c != '\n') {
            digits += c;
        }
        if (digits.size() == 2) {
            bytes += static_cast<char>(std::stoi(digits, nullptr, 16));
            digits.clear();
        }
    }
    if (!digits.empty()) throw std::invalid_argument("a digit without its pair: " + std::string(text));
    return bytes;
}

std::string toHex(std::string_view bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        const auto value = static_cast<unsigned char>(c);
        text += {digits[value >> 4], digits[value & 15], ' '};
    }
    return text;
}
