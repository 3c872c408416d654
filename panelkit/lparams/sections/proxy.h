// SPDX-License-Identifier: MIT
//
// PROXY: where the service's HTTP proxy listens.
#pragma once

#include <panelkit/lparams/param_group.h>

namespace LPARAMS::Client {

struct PANELKIT_EXPORT PROXY : ParamGroup {
    PROXY();
    ~PROXY() override;

    // clang-format off
    PortParam HTTP_LISTEN_PORT{*this, "HTTP_LISTEN_PORT", {Text::httpPort,    Text::httpPortHelp},    0, {0, 65535}};
    StStParam HTTP_LISTEN_ADDR{*this, "HTTP_LISTEN_ADDR", {Text::httpAddress, Text::httpAddressHelp}, ""};
    // clang-format on
};

} // namespace LPARAMS::Client
