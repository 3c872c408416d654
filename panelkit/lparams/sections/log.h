// SPDX-License-Identifier: MIT
//
// LOG: logging of the service.
#pragma once

#include <panelkit/lparams/param_group.h>

namespace LPARAMS::Client {

struct PANELKIT_EXPORT LOG : ParamGroup {
    LOG();
    ~LOG() override;

    // clang-format off
    EnumParam LOG_LEVEL             {*this, "LOG_LEVEL",              {Text::logLevel,            Text::empty}, 1, LOG_LEVEL_VARIANTS};
    EnumParam LOG_LEVEL_KERNEL      {*this, "LOG_LEVEL_KERNEL",       {Text::logLevelKernel,      Text::empty}, 1, LOG_LEVEL_VARIANTS};
    BoolParam FILELOG_ON            {*this, "FILELOG_ON",             {Text::fileLog,             Text::empty}, true};
    UIntParam MAX_LOG_SIZE          {*this, "MAX_LOG_SIZE",           {Text::maxLogSize,          Text::empty}, 10485760, {0, 4294967295}};
    UIntParam BACKUP_DEPTH          {*this, "BACKUP_DEPTH",           {Text::backupDepth,         Text::empty}, 5, {0, 1000}};
    BoolParam SYSLOG_ON             {*this, "SYSLOG_ON",              {Text::syslog,              Text::empty}, false};
    StStParam DESTINATION           {*this, "DESTINATION",            {Text::syslogDestination,   Text::empty}, "127.0.0.1"};
    EnumParam SYSLOG_PROTO          {*this, "SYSLOG_PROTO",           {Text::syslogProtocol,      Text::empty}, 17, SYSLOG_PROTO_VARIANTS};
    BoolParam SYSLOG_PUT_MSG_LEN    {*this, "SYSLOG_PUT_MSG_LEN",     {Text::syslogMessageLength, Text::empty}, false};
    EnumParam ENCODING_FROM         {*this, "ENCODING_FROM",          {Text::encodingFrom,        Text::empty}, 65001, ENCODINGS_VARIANTS};
    EnumParam ENCODING_TO           {*this, "ENCODING_TO",            {Text::encodingTo,          Text::empty}, 65001, ENCODINGS_VARIANTS};
    UIntParam FACILITY              {*this, "FACILITY",               {Text::syslogFacility,      Text::empty}, 0, {0, 7}};
    EnumParam LANGUAGE              {*this, "LANGUAGE",               {Text::logLanguage,         Text::empty}, 0, LOG_LANGUAGE_VARIANTS};
    BoolParam WALL_ON               {*this, "WALL_ON",                {Text::wall,                Text::empty}, true};
    BoolParam VERBOSE_MODE_ON       {*this, "VERBOSE_MODE_ON",        {Text::debugApplication,    Text::empty}, false};
    BoolParam VERBOSE_MODE_ON_KERNEL{*this, "VERBOSE_MODE_ON_KERNEL", {Text::debugKernel,         Text::empty}, false};
    BoolParam SYSLOG_SINGLELINE     {*this, "SYSLOG_SINGLELINE",      {Text::syslogSingleLine,    Text::empty}, false};
    BoolParam EXPAND_LSP_FILTERS    {*this, "EXPAND_LSP_FILTERS",     {Text::expandLspFilters,    Text::empty}, false};
    BoolParam SNMP_ON               {*this, "SNMP_ON",                Text::snmpLog,                            true};
    BoolParam SNMP_VERBOSE          {*this, "SNMP_VERBOSE",           {Text::snmpVerbose,         Text::snmpVerboseHelp}, true};
    BoolParam SNMP_VERBOSE_KERNEL   {*this, "SNMP_VERBOSE_KERNEL",    {Text::snmpVerboseKernel,   Text::snmpVerboseKernelHelp}, false};
    // clang-format on
};

} // namespace LPARAMS::Client
