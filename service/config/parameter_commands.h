// SPDX-License-Identifier: MIT
//
// Module 13: the commands on the configuration's sections.
#pragma once

#include <service/base/call.h>
#include <service/config/configuration.h>
#include <service/notifications/announcer.h>

#include <string>

namespace panelkitd {

class ParameterCommands {
public:
    ParameterCommands(Configuration& configuration, Announcer& announcer)
        : configuration_(configuration), announcer_(announcer) {}

    std::string read(Call& call);
    std::string write(Call& call);
    std::string commit(Call& call);

private:
    Configuration& configuration_;
    Announcer& announcer_;
};

} // namespace panelkitd
