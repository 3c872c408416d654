// SPDX-License-Identifier: MIT
//
// Names and identifiers of users and groups. Identifiers are text, as bridge::Peer carries them: a decimal uid
// or gid, or a SID on Windows.
#pragma once

#include <string>

namespace platform {

// Each gives the empty text when there is no such account.
std::string userName(const std::string& userId);
std::string userId(const std::string& userName);
std::string groupId(const std::string& groupName);
std::string userHome(const std::string& userId); // a folder; on Windows a profile is found otherwise, and this is empty

} // namespace platform
