// SPDX-License-Identifier: MIT
//
// Bytes as hexadecimal text.
#pragma once

#include <platform/export.h>

#include <string>
#include <string_view>

namespace panelkit {

// Appends two upper-case digits for each of the n bytes to `text`, with `separator` between them unless it is 0. The
// text grows by 2n characters, or by 3n - 1 with a separator (by none for no bytes). `bytes` must not view `text`
// itself. Any thread may call this.
//
//   std::string serial = "No. ";
//   panelkit::appendHex(std::string_view("\x0A\xFF", 2), serial, ':'); // "No. 0A:FF"
PANELKIT_EXPORT void appendHex(std::string_view bytes, std::string& text, char separator = '\0');

} // namespace panelkit
