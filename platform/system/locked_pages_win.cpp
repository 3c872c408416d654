// SPDX-License-Identifier: MIT
#include <platform/system/locked_pages.h>

#include <windows.h>

namespace platform {

std::size_t pageSize() {
    static const std::size_t size = [] {
        SYSTEM_INFO info{};
        GetSystemInfo(&info);
        return static_cast<std::size_t>(info.dwPageSize);
    }();
    return size;
}

bool lockPage(void* page) { return VirtualLock(page, pageSize()) != 0; }
bool unlockPage(void* page) { return VirtualUnlock(page, pageSize()) != 0; }

} // namespace platform
