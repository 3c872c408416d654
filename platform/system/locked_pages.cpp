// SPDX-License-Identifier: MIT
#include <platform/system/locked_pages.h>

#include <platform/system/guarded.h>

#include <cstdint>
#include <unordered_map>

namespace platform {

namespace {

struct Page {
    std::size_t users = 0;
    bool locked = false;
};

// The system does not count: unlocking a page once undoes every lock of it.
Guarded<std::unordered_map<std::size_t, Page>>& pages() {
    static auto* const all = new Guarded<std::unordered_map<std::size_t, Page>>; // outlives every static secret
    return *all;
}

void* addressOf(std::size_t page) {
    return reinterpret_cast<void*>(page * pageSize()); // NOLINT(performance-no-int-to-ptr)
}

} // namespace

LockedPages::LockedPages(const void* bytes, std::size_t size) {
    if (size == 0) return;
    const auto address = reinterpret_cast<std::uintptr_t>(bytes);
    const auto all = pages().lock();
    first_ = end_ = address / pageSize();
    for (const std::size_t last = (address + size - 1) / pageSize(); end_ <= last; ++end_) {
        Page& page = (*all)[end_];
        if (page.users++ == 0) page.locked = lockPage(addressOf(end_));
    }
}

LockedPages::~LockedPages() {
    if (first_ == end_) return;
    const auto all = pages().lock();
    for (std::size_t number = first_; number < end_; ++number) {
        const auto page = all->find(number);
        if (--page->second.users > 0) continue;
        if (page->second.locked) unlockPage(addressOf(number));
        all->erase(page);
    }
}

} // namespace platform
