// SPDX-License-Identifier: MIT
//
// Default paths and names, for options that are not given.
#pragma once

#include <map>
#include <string>

namespace panelkitd {

// The state folder of the system's service, or of one that a user runs for itself.
std::string defaultStateFolder(bool systemWide);

std::string defaultUsersGroup();

// Makes the folder of a socket that everybody may connect to, unless it is there. Pipes need none.
void makeEndpointFolder(const std::string& endpoint);

// The module of the embedded provider, SoftHSM2, if it is installed; else empty.
std::string installedEmbeddedModule();

// Gives SoftHSM2 a folder of ours for its tokens; returns what its process needs in its environment for that.
std::map<std::string, std::string> configureEmbeddedModule(const std::string& folder);

} // namespace panelkitd
