// SPDX-License-Identifier: MIT
//
// Where the running program is: what belongs to it is found from there, in a build folder as well as installed.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace panelctl {

// The folder that holds this program.
std::filesystem::path programFolder();

// A path from and to UTF-8; the plain constructor takes the system's code page.
inline std::filesystem::path toPath(std::string_view utf8) {
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

inline std::string fromPath(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

} // namespace panelctl
