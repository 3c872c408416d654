// SPDX-License-Identifier: MIT
//
// Where a user's data is kept, and the name of the user. Folders are UTF-8 paths that end with a separator, so that a
// file name can be appended; empty when the system has no such folder (an account without a home).
//
//               userDataDir, userDataDirForWrite        userDataBaseDir
//   Linux       $XDG_CONFIG_HOME/panelkit/              $XDG_DATA_HOME/panelkit/
//               (~/.config/panelkit/)                   (~/.local/share/panelkit/)
//   Windows     %APPDATA%\panelkit\                     %LOCALAPPDATA%\panelkit\          (the known folders)
//   both, if the environment variable PANELKIT_USER_DIR is an absolute path:
//               PANELKIT_USER_DIR/                      PANELKIT_USER_DIR/base/
//
// The first follows the user to other hosts where profiles roam, the second stays on this host. Both must belong to the
// user: data that others may write is never used as the user's settings. Any thread may call everything here as long as
// none changes the environment.
#pragma once

#include <string>

// The folder that is searched first for the user's data.
std::string userDataDir_utf8();

// The folder that is searched next.
std::string userDataBaseDir_utf8();

// The folder for writing: userDataDir_utf8, made with access for this user only if it is missing. If it can't be made,
// opening a file in it fails.
std::string userDataDirForWrite_utf8();

// The name of the account of this process; its number when it has no name.
std::string curproc_userName();
