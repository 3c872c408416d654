// SPDX-License-Identifier: MIT
#include <panelkit/certs/cert_file.h>

#include <platform/system/files.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>

namespace panelkit {

namespace {

constexpr std::size_t longestPath = 4095; // UTF-16 units, on every system
constexpr std::uint64_t largestFile = std::numeric_limits<std::int32_t>::max();

// How many UTF-16 units a text takes: one for each character, two for those of four bytes in UTF-8.
std::size_t utf16Units(std::string_view utf8) {
    std::size_t units = 0;
    for (const char c : utf8) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >> 6 != 0b10) ++units; // not the continuation of a character
        if (byte >= 0xF0) ++units;
    }
    return units;
}

} // namespace

bool readCertFile(const char* path, std::string& content) {
    if (!path || utf16Units(path) > longestPath) return false;
    try {
        content = platform::readFile(path, largestFile);
    } catch (const platform::FileError&) {
        return false;
    }
    return !content.empty();
}

} // namespace panelkit
