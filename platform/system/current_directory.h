// SPDX-License-Identifier: MIT
//
// The current directory of the process.
#pragma once

#include <cstddef>

namespace platform {

// Writes its path, in UTF-8 and with a terminating zero byte, to `buffer` of `size` bytes. False when there is none
// or it does not fit; the buffer then holds nothing of use.
bool currentDirectory(char* buffer, std::size_t size);

} // namespace platform
