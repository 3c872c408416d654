// SPDX-License-Identifier: MIT
#include <service/service_control.h>

#include <service/exit_status.h>

#include <iostream>

namespace panelkitd {

int controlService(ServiceAction, const ServiceSetup&) {
    std::cerr
        << "panelkitd: only Windows has this; here systemd manages the service: systemctl enable --now panelkitd, "
           "systemctl stop panelkitd, systemctl status panelkitd\n";
    return static_cast<int>(ExitStatus::usage);
}

} // namespace panelkitd
