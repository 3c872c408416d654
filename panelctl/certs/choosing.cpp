// SPDX-License-Identifier: MIT
#include <panelctl/certs/choosing.h>

#include <panelctl/base/terminal_text.h>

#include <platform/text/ascii.h>

namespace panelctl {

namespace {

constexpr std::size_t shortestFingerprint = 8; // digits from which on a number is read as a part of one

} // namespace

std::string hexDigits(const std::string& text) {
    std::string digits;
    for (const char c : text) {
        if (c == ':' || c == ' ') continue;
        if (!platform::hexValue(c)) return {};
        digits += platform::asciiUpper(c);
    }
    return digits;
}

bool beginsFingerprint(const std::string& digits, const std::string& fingerprint) {
    return digits.size() >= shortestFingerprint && fingerprint.rfind(digits, 0) == 0;
}

std::vector<std::string> toldApart(std::vector<std::string> lines, const std::vector<std::string>& providers) {
    const std::vector<std::string> plain = lines;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (std::count(plain.begin(), plain.end(), plain[i]) < 2) continue;
        lines[i] = say("%s of provider \"%s\" (--provider)", plain[i], escaped(providers[i]));
    }
    return lines;
}

} // namespace panelctl
