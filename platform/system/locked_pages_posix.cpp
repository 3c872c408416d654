// SPDX-License-Identifier: MIT
#include <platform/system/locked_pages.h>

#include <sys/mman.h>
#include <unistd.h>

namespace platform {

std::size_t pageSize() {
    static const auto size = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    return size;
}

bool lockPage(void* page) { return ::mlock(page, pageSize()) == 0; }
bool unlockPage(void* page) { return ::munlock(page, pageSize()) == 0; }

} // namespace platform
