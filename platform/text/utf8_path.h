// SPDX-License-Identifier: MIT
//
// std::filesystem::path from and to UTF-8, on both systems: its plain constructor takes the system's code page.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace platform {

// Makes a path of the standard library from UTF-8, on every system.
inline std::filesystem::path toPath(std::string_view utf8) { return std::u8string(utf8.begin(), utf8.end()); }

// Returns a path as UTF-8.
inline std::string fromPath(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

} // namespace platform
