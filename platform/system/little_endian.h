// SPDX-License-Identifier: MIT
//
// Integers as little-endian bytes, whatever the machine: what every wire format of ours is made of. The loops
// compile to a single load or store.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

// Writes the sizeof(T) bytes of `value` at `to`.
template <class T>
inline void storeLittleEndian(char* to, T value) {
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        to[i] = static_cast<char>(static_cast<std::uint64_t>(value) >> (8 * i) & 0xFF);
    }
}

// Reads the sizeof(T) bytes at `from`.
template <class T>
inline T loadLittleEndian(const char* from) {
    std::uint64_t whole = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        whole |= static_cast<std::uint64_t>(static_cast<unsigned char>(from[i])) << (8 * i);
    }
    return static_cast<T>(whole);
}

} // namespace platform
