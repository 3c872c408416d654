// SPDX-License-Identifier: MIT
//
// Where a user's data is kept, and who the user is. Folders are UTF-8 paths that end with a separator, so that a file
// name is simply appended; the empty text where the system knows no such folder (an account without a home).
//
//               userDataDir, userDataDirForWrite        userDataBaseDir
//   Linux       $XDG_CONFIG_HOME/panelkit/              $XDG_DATA_HOME/panelkit/
//               (~/.config/panelkit/)                   (~/.local/share/panelkit/)
//   Windows     %APPDATA%\panelkit\                     %LOCALAPPDATA%\panelkit\          (the known folders)
//   both, with the environment's PANELKIT_USER_DIR set to an absolute path:
//               PANELKIT_USER_DIR/                      PANELKIT_USER_DIR/base/
//
// The first goes with the user where profiles roam, the second belongs to this host. Both are the user's own: what
// others may write is never taken for a user's wish. Any thread may call all of this while none changes the
// environment.
#pragma once

#include <string>

// Where the user's data is looked for first.
std::string userDataDir_utf8();

// Where it is looked for when it is not there.
std::string userDataBaseDir_utf8();

// Where it is written: userDataDir_utf8, made for this user alone if it is missing. A folder that can't be made shows
// when a file is opened in it.
std::string userDataDirForWrite_utf8();

// The name of the account that this process runs as; where it has none, its number.
std::string curproc_userName();
