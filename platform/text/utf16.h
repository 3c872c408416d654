// SPDX-License-Identifier: MIT
//
// UTF-8 at our side, UTF-16 at the side of the Windows calls. Windows only.
#pragma once

#include <string>
#include <string_view>

namespace platform {

std::wstring toUtf16(std::string_view utf8);
std::string toUtf8(std::wstring_view utf16);

// The text of an error code of the system, without its line end.
std::string systemErrorText(unsigned long error);

} // namespace platform
