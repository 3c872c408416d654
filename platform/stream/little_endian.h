// SPDX-License-Identifier: MIT
//
// Integers as little-endian bytes, whatever the machine: what every wire format of ours is made of. Where the
// machine's own order is that, each is a single load or store; compilers do not make one of the loops.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace platform {

// Writes the sizeof(T) bytes of `value` at `to`.
template <class T>
inline void storeLittleEndian(char* to, T value) {
    if constexpr (std::endian::native == std::endian::little) {
        std::memcpy(to, &value, sizeof(T));
    } else {
        for (std::size_t i = 0; i < sizeof(T); ++i) {
            to[i] = static_cast<char>(static_cast<std::uint64_t>(value) >> (8 * i) & 0xFF);
        }
    }
}

// Reads the sizeof(T) bytes at `from`.
template <class T>
inline T loadLittleEndian(const char* from) {
    if constexpr (std::endian::native == std::endian::little) {
        T value{};
        std::memcpy(&value, from, sizeof(T));
        return value;
    } else {
        std::uint64_t whole = 0;
        for (std::size_t i = 0; i < sizeof(T); ++i) {
            whole |= static_cast<std::uint64_t>(static_cast<unsigned char>(from[i])) << (8 * i);
        }
        return static_cast<T>(whole);
    }
}

} // namespace platform
