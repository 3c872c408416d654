// SPDX-License-Identifier: MIT
//
// The system's generator of random bytes, for secrets.
#pragma once

#include <cstddef>

namespace platform {

// Fills `bytes`. Throws std::system_error when the system gives none.
void fillRandom(void* bytes, std::size_t size);

} // namespace platform
