// SPDX-License-Identifier: MIT
//
// What panelctl asks the system about itself: where the program is, from where what belongs to it is found, and which
// locale the user set.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace panelctl {

// Puts something that can be neither read nor written in the place of a standard stream that was closed by whoever
// started the program. Otherwise the next socket or file that is opened takes that place, and receives what is meant
// for people. To be called first of all.
void occupyStandardStreams();

// The folder that holds this program.
std::filesystem::path programFolder();

// The locale for characters that the environment names; empty when it names none. Nothing on Windows, where consoles
// do not go by it.
std::optional<std::string> environmentLocale();

// A path from and to UTF-8; the plain constructor takes the system's code page.
inline std::filesystem::path toPath(std::string_view utf8) {
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

inline std::string fromPath(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

} // namespace panelctl
