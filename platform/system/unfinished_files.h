// SPDX-License-Identifier: MIT
//
// How files are named while they are written, before they take the place of others. For files*.cpp.
#pragma once

namespace platform {

// Stands behind the name of the file that is to be replaced; more follows.
inline constexpr const char* unfinishedMark = ".new-";

} // namespace platform
