// SPDX-License-Identifier: MIT
//
// Where things are when the command line does not say.
#pragma once

#include <string>

namespace panelkitd {

// The state folder of the system's service, or of one that a user runs for itself.
std::string defaultStateFolder(bool systemWide);

std::string defaultUsersGroup();

// Makes the folder of a socket that everybody may connect to, unless it is there. Pipes need none.
void makeEndpointFolder(const std::string& endpoint);

// The module behind the embedded provider, SoftHSM2, if it is installed; else empty.
std::string installedEmbeddedModule();

// Points SoftHSM2 to a folder of ours for its tokens. Before any module is loaded.
void configureEmbeddedModule(const std::string& folder);

} // namespace panelkitd
