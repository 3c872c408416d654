// SPDX-License-Identifier: MIT
//
// The part of user_paths.h that differs between systems. Internal to platform/paths.
#pragma once

#include <string>

namespace platform::paths {

inline constexpr const char* overridingVariable = "PANELKIT_USER_DIR";

// A variable of the environment that holds an absolute path; the empty text otherwise.
std::string folderFromEnvironment(const char* variable);

// The user's folders for settings and for other data, without our subfolder and without a separator at the end.
std::string settingsFolder();
std::string dataFolder();

} // namespace platform::paths
