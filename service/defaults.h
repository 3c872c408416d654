// SPDX-License-Identifier: MIT
//
// Default paths and names, for options that are not given.
#pragma once

#include <string>

namespace panelkitd {

// The state folder of the system's service, or of one that a user runs for itself.
std::string defaultStateFolder(bool systemWide);

std::string defaultUsersGroup();

// Makes the folder of a socket that everybody may connect to, unless it is there. Pipes need none.
void makeEndpointFolder(const std::string& endpoint);

// The module of the embedded provider, SoftHSM2, if it is installed; else empty.
std::string installedEmbeddedModule();

// Makes SoftHSM2 keep its tokens in `folder`. Call it before any module is loaded.
void configureEmbeddedModule(const std::string& folder);

} // namespace panelkitd
