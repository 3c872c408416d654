// SPDX-License-Identifier: MIT
//
// The process that hosts a PKCS#11 module: `panelkitd --host-module PATH --channel NAME`. A module is code that is not
// ours and that we do not trust. In this process it can crash, hang and return wrong data without harm to the service.
// The only secrets in this process are those of the module's own tokens.
#pragma once

#include <map>
#include <string>

namespace panelkitd {

// The options with which the service starts its own program as a host. They are not for users and are not documented.
inline constexpr const char* hostOption = "--host-module";
inline constexpr const char* channelOption = "--channel";

// Returns the environment for a host: that of this process, without the variables that are meant for the service only.
std::map<std::string, std::string> hostEnvironment();

// Carries out the service's commands until the channel is closed, and returns the exit status of the process. `path` is
// that of the module, `channel` the name of the channel. The module is loaded by the first command, `describe`, so that
// a module that can't be loaded is reported as a refusal with its reason.
int hostModule(const std::string& path, const std::string& channel);

// Gives up the special rights of this process (those of root, or the privileges of its Windows account), and makes sure
// that it can't get new ones.
void dropPrivileges();

} // namespace panelkitd
