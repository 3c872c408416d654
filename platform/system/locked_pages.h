// SPDX-License-Identifier: MIT
//
// Keeps memory with secrets out of the swap file, as far as the system's limit for this process allows. A limit that is
// reached or 0 is not an error: the memory is then used as any other.
#pragma once

#include <cstddef>
#include <string_view>

namespace platform {

// The pages of a range of bytes stay in memory while the object exists. Several objects may lock the same page. The
// memory must not be released before the object. Any thread may have such objects.
class LockedPages {
public:
    LockedPages() = default;
    LockedPages(const void* bytes, std::size_t size);
    explicit LockedPages(std::string_view bytes) : LockedPages(bytes.data(), bytes.size()) {}
    ~LockedPages();
    LockedPages(const LockedPages&) = delete;
    LockedPages& operator=(const LockedPages&) = delete;

private:
    std::size_t first_ = 0; // numbers of pages; none when both are the same
    std::size_t end_ = 0;
};

// ---- for the implementation on each system

// Returns the size of a page in bytes.
std::size_t pageSize();

// Return whether the page at that address could be locked or unlocked.
bool lockPage(void* page);
bool unlockPage(void* page);

} // namespace platform
