// SPDX-License-Identifier: MIT
//
// "usersettings.xml", the user's own settings: whether a policy of the user's own is wanted (`Active`), and where it is
// taken from. It is searched for in the user's folder for settings, then in the folder for other data, and written in
// the first (platform/paths/user_paths.h).
//
//   <?xml version="1.0" encoding="UTF-8"?>
//   <UserLSP>
//       <Active>1</Active>
//       <Source>SOURCE_FILE</Source>
//       <File>/home/anna/office.lsp</File>
//   </UserLSP>
//
// Settings are children of the root, found by name, in any order; everything else in the file is kept when it is
// written. The file is replaced as a whole, so after a crash there is either the old file or the new one; a damaged
// file is then kept as "usersettings.xml.damaged". A file that exists but can't be read now is not damaged: reading it
// gives the defaults, and writing fails and changes nothing, as it does for a read-only file. LSPController reads the
// file and writes `Active`, under its lock; a front end writes the other settings.
#pragma once

#include <panelkit/lsp/lsp_records.h>

#include <platform/export.h>

#include <string>

namespace panelkit {

// ---- for front ends

// Returns the path that storeUserSettings writes; empty when the user has no such folder. Makes the folder.
PANELKIT_EXPORT std::string userSettingsPath();

// Writes the source, file and server settings that the file can hold, and does not change `Active`. Throws
// std::runtime_error, whose text names the file or the setting, when the file can't be read or written or a value has
// no name in the file; the file is then unchanged. Only one thread at a time, and not while an LSPController works.
PANELKIT_EXPORT void storeUserSettings(const LSPcmd::LSPsettings_t& settings);

// ---- for LSPController

// Reads the file into `settings`. A setting that is missing or not legal gets its default. Returns false, with all
// defaults, when there is no readable file. The server's authentication kind becomes 0; fields that the file cannot
// hold keep their values.
bool readUserSettings(LSPcmd::LSPsettings_t& settings);

// Returns whether `Active` is set; false when there is no file that can be read.
bool readActive();

// Sets `Active`. Errors are not reported: the next activation tries again.
void writeActive(bool active);

} // namespace panelkit
