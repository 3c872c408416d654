// SPDX-License-Identifier: MIT
//
// Module 12: the network interfaces of the service's host, read again for every request.
#pragma once

#include <service/base/call.h>

#include <string>

namespace panelkitd {

class InterfaceCommands {
public:
    static std::string list(Call& call);
};

} // namespace panelkitd
