// SPDX-License-Identifier: MIT
//
// Accounts and access lists of Windows. Accounts are text, as everywhere: their SIDs. Windows only.
#pragma once

#include <platform/system/handle_win.h>

#include <string>

namespace platform {

inline constexpr const char* systemAccount = "S-1-5-18";
inline constexpr const char* administratorsGroup = "S-1-5-32-544";

std::string sidText(PSID sid); // empty if it is none

// The account that this process runs as; empty if the system does not say.
std::string ownAccount();

// Makes the security descriptor that the text describes (SDDL); null, with a system error, if it is not one.
LocalMemory<void> descriptorOf(const std::string& text);

// What other accounts can do with a file or folder. Others are all but this process's account, the system, the
// administrators and the installer of Windows, which can change everything anyway.
struct AccessOfOthers {
    bool isKnown = false; // if not, the rest says nothing
    bool ownsIt = false;
    bool canWrite = false; // also by its access list or owner
    bool canRead = false;
};

// `name` is one that the system takes, see names_win.h.
AccessOfOthers accessOfOthers(const std::wstring& name);

} // namespace platform
