// SPDX-License-Identifier: MIT
//
// Shared by the tests of the policy: each record once, with its bytes by hand.
#pragma once

#include <panelkit/lsp/lsp_records.h>

#include "../../support/bytes.h"

// clang-format off
inline const LSPserver_t server{
    .Server = "pmp.example", .LogLevel = 2, .authKind = 1, .reserved = 0xA1B2C3D4, .PmpIdType = 5,
    .PmpIdValue = "0A", .Subject = "CN=x", .presharedKeyName = "office", .PmpTimeout = -1};
inline const std::string serverBytes = hex(
    "0b 00 00 00 'pmp.example'  02 00 00 00  01 00 00 00  d4 c3 b2 a1  05 00 00 00 "
    "02 00 00 00 '0A'  04 00 00 00 'CN=x'  06 00 00 00 'office'  ff ff ff ff");

inline const LSPrequest_t request{.type = 6, .user = "anna", .file = "f", .server = server, .driverMode = 2};
inline const std::string requestBytes =
    hex("06 00 00 00  04 00 00 00 'anna'  01 00 00 00 'f'") + serverBytes + hex("02 00 00 00");

// The bytes of each text are its letter: C comes after G.
inline const std::string infoBytes = requestBytes + hex(
    "08 07 06 05 04 03 02 01  01  01  01  01  05 00 00 00 'Title'  01 00 00 00 'B'  03 00 00 00 'msg' "
    "01 00 00 00 'D'  0e 00 00 00  01 00 00 00 'F'  01 00 00 00 'G'  01 00 00 00 'C'  09 00 00 00 "
    "04 00 00 00 'date'");

inline const LSPcmd::LSPsettings_t settings{
    .Source = 1, .value1 = 7, .File = "/p", .server = server, .value2 = 9, .entries = {{"a", "b", "c"}, {"", "", "z"}}};
inline const std::string settingsBytes = hex("01 00 00 00  07 00 00 00  02 00 00 00 '/p'") + serverBytes + hex(
    "09 00 00 00  02 00 00 00  01 00 00 00 'a'  01 00 00 00 'b'  01 00 00 00 'c' "
    "00 00 00 00  00 00 00 00  01 00 00 00 'z'");
// clang-format on
