// SPDX-License-Identifier: MIT
//
// The service as the service control manager of Windows knows it: installed, started and stopped by an administrator
// with panelkitd itself, which the installer calls too. On Linux systemd has its own commands for that.
#pragma once

#include <string>
#include <vector>

namespace panelkitd {

enum class ServiceAction : unsigned char { install, uninstall, start, stop, status };

// The argument by which a process learns that the manager has started it.
inline constexpr const char* asServiceOption = "--as-service";

// What is installed.
struct ServiceSetup {
    std::vector<std::string> arguments; // with which the manager starts this program
    std::string state;                  // the folder that is among them
};

// Does it, prints what was done or why not, and returns the exit status. An action that fails leaves nothing half done.
int controlService(ServiceAction action, const ServiceSetup& setup);

} // namespace panelkitd
