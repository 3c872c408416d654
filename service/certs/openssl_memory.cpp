// SPDX-License-Identifier: MIT
#include <service/certs/openssl_memory.h>

#include <platform/system/wipe.h>

#include <openssl/crypto.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace panelkitd {

namespace {

// Before each block its size, which is needed to wipe it.
constexpr std::size_t headSize = std::max(sizeof(std::size_t), alignof(std::max_align_t));

void* allocate(std::size_t size, const char*, int) {
    if (size == 0 || size > SIZE_MAX - headSize) return nullptr;
    auto* const head = static_cast<char*>(std::malloc(headSize + size));
    if (!head) return nullptr;
    std::memcpy(head, &size, sizeof size);
    return head + headSize;
}

char* headOf(void* block) { return static_cast<char*>(block) - headSize; }

std::size_t sizeOf(void* block) {
    std::size_t size = 0;
    std::memcpy(&size, headOf(block), sizeof size);
    return size;
}

void release(void* block, const char*, int) {
    if (!block) return;
    platform::wipe(block, sizeOf(block));
    std::free(headOf(block));
}

// A block always moves, so that its old place can be wiped.
void* reallocate(void* block, std::size_t size, const char* file, int line) {
    if (!block) return allocate(size, file, line);
    void* const moved = allocate(size, file, line);
    if (moved) std::memcpy(moved, block, std::min(size, sizeOf(block)));
    if (moved || size == 0) release(block, file, line);
    return moved;
}

} // namespace

bool wipeOpensslMemory() { return CRYPTO_set_mem_functions(allocate, reallocate, release) == 1; }

} // namespace panelkitd
