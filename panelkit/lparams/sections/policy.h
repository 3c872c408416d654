// SPDX-License-Identifier: MIT
//
// POLICY: where the system-wide policy comes from. USER (user.h) is the same for one user, with the same texts and
// variants; keys, order and some rows differ.
#pragma once

#include <panelkit/lparams/param_group.h>

namespace LPARAMS::Client {

struct PANELKIT_EXPORT POLICY : ParamGroup {
    POLICY();
    ~POLICY() override;

    // clang-format off
    EnumParam SYSTEM_LSP_SOURCE   {*this, "SYSTEM_LSP_SOURCE",    {Text::source,             Text::empty}, 0, LSP_SOURCE_VARIANTS};
    StStParam SYSTEM_LSP_FROM_FILE{*this, "SYSTEM_LSP_FROM_FILE", {Text::file,               Text::empty}, ""};
    StStParam PMP_SERVERS         {*this, "PMP_SERVERS",          {Text::pmpServers,         Text::empty}, ""};
    EnumParam PMP_LOGLEVEL        {*this, "PMP_LOGLEVEL",         {Text::logLevel,           Text::empty}, 1, LOG_LEVEL_VARIANTS};
    EnumParam PMP_AUTH            {*this, "PMP_AUTH",             {Text::pmpAuthMethod,      Text::empty}, 0, PMP_AUTH_VARIANTS};
    EnumParam PMP_IDTYPE          {*this, "PMP_IDTYPE",           {Text::presharedKeyIdType, Text::empty}, 0, PMP_ID_TYPE_VARIANTS};
    StStParam PMP_IDDATA          {*this, "PMP_IDDATA",           {Text::presharedKeyIdData, Text::empty}, ""};
    StStParam LOCAL_CERT_SUBJECT  {*this, "LOCAL_CERT_SUBJECT",   {Text::certificateSubject, Text::empty}, ""};
    StStParam PSK_NAME            {*this, "PSK_NAME",             {Text::presharedKeyName,   Text::empty}, ""};
    UIntParam PMP_TIMEOUT         {*this, "PMP_TIMEOUT",          {Text::pmpTimeout,         Text::empty}, 10, {5, 4294967295}};
    EnumParam DDP_LOGLEVEL        {*this, "DDP_LOGLEVEL",         {Text::logLevel,           Text::empty}, 0, LOG_LEVEL_VARIANTS};
    // clang-format on
};

} // namespace LPARAMS::Client
