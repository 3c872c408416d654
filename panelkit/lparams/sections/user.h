// SPDX-License-Identifier: MIT
//
// USER: where a user's own policy comes from, with its gateways. Similar to POLICY (policy.h); keys, order and some
// rows differ.
#pragma once

#include <panelkit/lparams/param_vector.h>

namespace LPARAMS::Client {

struct PANELKIT_EXPORT USER : ParamGroup {
    USER();
    ~USER() override;

    // clang-format off
    StStParam NAME            {*this, "NAME",             {Text::userName,           Text::empty}, ""};
    EnumParam LSP_SOURCE      {*this, "LSP_SOURCE",       {Text::source,             Text::empty}, 0, LSP_SOURCE_VARIANTS};
    StStParam LSP_FILE        {*this, "LSP_FILE",         {Text::file,               Text::empty}, ""};
    StStParam PMP_SERVERS     {*this, "PMP_SERVERS",      {Text::pmpServers,         Text::empty}, ""};
    EnumParam PMP_LOGLEVEL    {*this, "PMP_LOGLEVEL",     {Text::logLevel,           Text::empty}, 1, LOG_LEVEL_VARIANTS};
    EnumParam PMP_AUTH        {*this, "PMP_AUTH",         {Text::pmpAuthMethod,      Text::empty}, 0, PMP_AUTH_VARIANTS};
    EnumParam PMP_IDTYPE      {*this, "PMP_IDTYPE",       {Text::presharedKeyIdType, Text::empty}, 0, PMP_ID_TYPE_VARIANTS};
    StStParam PMP_IDDATA      {*this, "PMP_IDDATA",       {Text::presharedKeyIdData, Text::empty}, ""};
    UIntParam PMP_TIMEOUT     {*this, "PMP_TIMEOUT",      {Text::pmpTimeout,         Text::empty}, 10, {5, 4294967295}};
    StStParam PMP_CERT_SUBJECT{*this, "PMP_CERT_SUBJECT", {Text::certificateSubject, Text::empty}, ""};
    StStParam PMP_PSK_NAME    {*this, "PMP_PSK_NAME",     {Text::presharedKeyName,   Text::empty}, ""};
    ParamVector<LSP_GATE> LSP_GATES{*this, "LSP_GATES",   registerText("")};
    // clang-format on
};

} // namespace LPARAMS::Client
