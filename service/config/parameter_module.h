// SPDX-License-Identifier: MIT
//
// Module 13: the commands on the configuration's sections.
#pragma once

#include <service/config/configuration.h>
#include <service/dispatcher.h>

#include <string>

namespace panelkitd {

class ParameterModule {
public:
    explicit ParameterModule(Configuration& configuration) : configuration_(configuration) {}

    std::string read(Call& call);
    std::string write(Call& call);
    std::string commit(Call& call);

private:
    Configuration& configuration_;
};

} // namespace panelkitd
