// SPDX-License-Identifier: MIT
//
// What each system has to say about a user's folders. Internal to platform/paths.
#pragma once

#include <string>

namespace platform::paths {

inline constexpr const char* overridingVariable = "PANELKIT_USER_DIR";

// A variable of the environment that holds an absolute path; the empty text otherwise.
std::string folderFromEnvironment(const char* variable);

// The folder for settings and the one for other data, without ours in them and without a separator at the end.
std::string settingsFolder();
std::string dataFolder();

} // namespace platform::paths
