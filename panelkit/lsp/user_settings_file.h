// SPDX-License-Identifier: MIT
//
// "usersettings.xml", the file that keeps what a user chose: whether a policy of the user's own is wanted (`Active`),
// and where it is taken from. It is looked for in the user's folder for settings, then in that for other data, and
// written in the first (platform/paths/user_paths.h).
//
//   <?xml version="1.0" encoding="UTF-8"?>
//   <UserLSP>
//       <Active>1</Active>
//       <Source>SOURCE_FILE</Source>
//       <File>/home/anna/office.lsp</File>
//   </UserLSP>
//
// Settings are children of the root, found by name, in any order; what else the file holds survives when it is written.
// It is replaced whole, so a crash leaves the old file or the new one; a damaged one is kept as
// "usersettings.xml.damaged" then. LSPController reads the file and writes `Active`, under its lock; the other settings
// are the front end's to write.
#pragma once

#include <panelkit/lsp/lsp_records.h>

#include <platform/export.h>

#include <string>

namespace panelkit {

// ---- for front ends

// Where storeUserSettings writes; empty where the user has no such folder. Makes the folder.
PANELKIT_EXPORT std::string userSettingsPath();

// Writes the source, file and server settings that the file knows, and leaves `Active` as it is. Throws
// std::runtime_error, whose text names the file or the setting, when it can't be written or a value has no name in the
// file; the file is then as it was. One thread at a time, and not while an LSPController works.
PANELKIT_EXPORT void storeUserSettings(const LSPcmd::LSPsettings_t& settings);

// ---- for LSPController

// Reads the file into `settings`: what is missing or does not fit gets its default, and so does everything when there
// is no file that can be read, which gives false. The server's authentication kind becomes 0; fields that the file does
// not know keep their values.
bool readUserSettings(LSPcmd::LSPsettings_t& settings);

// Whether `Active` is set; not when there is no file.
bool readActive();

// Sets `Active`. What goes wrong is not reported: the next activation tries again.
void writeActive(bool active);

} // namespace panelkit
