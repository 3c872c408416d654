// SPDX-License-Identifier: MIT
//
// Module 12: the network interfaces of the host that the service runs on, read anew for every request.
#pragma once

#include <service/dispatcher.h>

#include <string>

namespace panelkitd {

class InterfaceModule {
public:
    static std::string list(Call& call);
};

} // namespace panelkitd
