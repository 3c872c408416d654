// SPDX-License-Identifier: MIT
#include <platform/system/memory.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace platform {

void adviseHugePages(void* bytes, std::size_t size) {
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto start = (reinterpret_cast<std::uintptr_t>(bytes) + page - 1) / page * page;
    const auto end = (reinterpret_cast<std::uintptr_t>(bytes) + size) / page * page;
    if (start < end) madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);
}

} // namespace platform
