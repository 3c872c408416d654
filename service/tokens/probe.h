// SPDX-License-Identifier: MIT
//
// The probe: before a PKCS#11 module is loaded into the service, a child process of its own loads it and goes through
// what every listing asks of it, with a deadline. A module that crashes, hangs or talks nonsense takes only the child
// with it.
#pragma once

#include <chrono>
#include <string>

namespace panelkitd {

// The hidden option by which the service starts itself as the probe's child.
inline constexpr const char* probeOption = "--probe-module";

// Throws RefusedError when the module does not pass within `deadline`.
void probeModule(const std::string& path, std::chrono::seconds deadline);

// What the child does; gives its exit status.
int runProbe(const std::string& path);

// Gives up the rights of root in this process, as far as it has them.
void dropPrivileges();

} // namespace panelkitd
