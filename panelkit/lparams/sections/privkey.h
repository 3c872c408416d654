// SPDX-License-Identifier: MIT
//
// PRIVKEY: how long imported private keys are valid.
#pragma once

#include <panelkit/lparams/param_group.h>

namespace LPARAMS::Client {

struct PANELKIT_EXPORT PRIVKEY : ParamGroup {
    PRIVKEY();
    ~PRIVKEY() override;

    // clang-format off
    UIntParam LIFETIME_IMPORTED_SW{*this, "LIFETIME_IMPORTED_SW", {Text::softwareKeysValidity, Text::keysValidityHelp}, 15, {0, 4294967295}};
    UIntParam LIFETIME_IMPORTED_HW{*this, "LIFETIME_IMPORTED_HW", {Text::hardwareKeysValidity, Text::keysValidityHelp}, 36, {0, 4294967295}};
    // clang-format on
};

} // namespace LPARAMS::Client
