// SPDX-License-Identifier: MIT
//
// ADMIN: who administers the service.
#pragma once

#include <panelkit/lparams/param_group.h>

namespace LPARAMS::Client {

struct PANELKIT_EXPORT ADMIN : ParamGroup {
    ADMIN();
    ~ADMIN() override;

    // clang-format off
    UIntParam SESSION_EXPTIME             {*this, "SESSION_EXPTIME",              {Text::expireTime,               Text::empty}, 10, {0, 86400}};
    BoolParam LOGIN_ON_SAVE_TOKEN_PASSWORD{*this, "LOGIN_ON_SAVE_TOKEN_PASSWORD", {Text::askAdministratorPassword, Text::empty}, true};
    StStParam ADMIN_GROUP                 {*this, "ADMIN_GROUP",                  registerText("Administrators group name"),     "admin"};
    StStParam CMS_SIGN_CERT               {*this, "CMS_SIGN_CERT",                registerText("CMS sign cert"),                 ""};
    // clang-format on
};

} // namespace LPARAMS::Client
