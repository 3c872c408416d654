// SPDX-License-Identifier: MIT
//
// LOGON: logging on with a token, and the handling of CRLs while doing so.
#pragma once

#include <panelkit/lparams/param_group.h>

namespace LPARAMS::Client {

struct PANELKIT_EXPORT LOGON : ParamGroup {
    LOGON();
    ~LOGON() override;

    // clang-format off
    BoolParam LOGON_ON          {*this, "LOGON_ON",           {Text::logonOn,             Text::empty},               false};
    StStParam TRUSTED_TOKEN     {*this, "TRUSTED_TOKEN",      {Text::trustedToken,        Text::empty},               ""};
    EnumParam CRL_PROCESSING    {*this, "CRL_PROCESSING",     {Text::crlProcessing,       Text::crlProcessingHelp},   2,  CRL_PROC_VARIANTS};
    UIntParam CRL_TIMEOUT       {*this, "CRL_TIMEOUT",        {Text::crlTimeout,          Text::crlTimeoutLogonHelp}, 10, {0, 600}};
    StStParam CRL_STORE_ON_TOKEN{*this, "CRL_STORE_ON_TOKEN", {Text::storeCrlOnToken,     Text::empty},               "Trusted Certificates token"};
    StStParam TOKEN_REMOVE_CMD  {*this, "TOKEN_REMOVE_CMD",   {Text::tokenRemovedCommand, Text::empty},               ""};
    UIntParam WAIT_TOKEN_TIMEOUT{*this, "WAIT_TOKEN_TIMEOUT", {Text::waitTokenTimeout,    Text::empty},               10, {0, 3600}};
    StStParam PKCS11_MODULE     {*this, "PKCS11_MODULE",      {Text::pkcs11Module,        Text::empty},               ""};
    StStParam PKCS11_SLOTID     {*this, "PKCS11_SLOTID",      {Text::pkcs11SlotId,        Text::empty},               ""};
    StStParam PKCS11_TOKENID    {*this, "PKCS11_TOKENID",     {Text::pkcs11TokenId,       Text::empty},               ""};
    // clang-format on
};

} // namespace LPARAMS::Client
