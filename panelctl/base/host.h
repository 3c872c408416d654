// SPDX-License-Identifier: MIT
//
// What panelctl asks the system: the folder of the program, in which its other files are found, and the user's locale.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace panelctl {

// Replaces standard streams that were closed when the program started by something that can be neither read nor
// written. Otherwise the next socket or file that is opened gets the number of the stream, and receives what is printed
// for people. Must be called before anything else.
void occupyStandardStreams();

// The folder that holds this program.
std::filesystem::path programFolder();

// The locale for characters from the environment; empty when none is set. Nothing on Windows, where consoles do not use
// it.
std::optional<std::string> environmentLocale();

} // namespace panelctl
