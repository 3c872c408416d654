// SPDX-License-Identifier: MIT
//
// The process that hosts a PKCS#11 module: `panelkitd --host-module PATH --channel NAME`. A module is a stranger's
// code: here it can crash, hang and lie without harm to the service, and finds no secrets but those of its own tokens.
#pragma once

#include <map>
#include <string>

namespace panelkitd {

// The hidden options by which the service starts itself as a host.
inline constexpr const char* hostOption = "--host-module";
inline constexpr const char* channelOption = "--channel";

// The environment of a host: that of this process, without what belongs to the service alone.
std::map<std::string, std::string> hostEnvironment();

// Serves the service over the channel until that is closed; returns the exit status. The module is loaded with the
// first command, `describe`, so that what is wrong with it is told as a refusal.
int hostModule(const std::string& path, const std::string& channel);

// Gives up what rights of root this process has, and the way to get new ones.
void dropPrivileges();

} // namespace panelkitd
