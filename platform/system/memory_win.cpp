// SPDX-License-Identifier: MIT
#include <platform/system/memory.h>

namespace platform {

// Windows has no such hint for ordinary memory.
void adviseHugePages(void*, std::size_t) {}

} // namespace platform
