// SPDX-License-Identifier: MIT
//
// Folders of Windows that belong to another account. Windows only.
#pragma once

#include <string>

namespace platform {

// Like makePrivateFolder, for `account` (a SID): it, the system and the administrators alone can use the folder. A
// folder that exists, with what is in it, is given to the account too. Throws FileError.
void makePrivateFolderFor(const std::string& path, const std::string& account);

} // namespace platform
