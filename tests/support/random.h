// SPDX-License-Identifier: MIT
//
// Random numbers that are the same on every machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>

class Random {
public:
    explicit Random(std::uint32_t seed) : engine_(seed) {}

    // Any 32 bits.
    std::uint32_t operator()() { return static_cast<std::uint32_t>(engine_()); }

    // Any 64 bits.
    std::uint64_t wide() { return std::uint64_t{(*this)()} << 32 | (*this)(); }

    // 0 to `end` - 1.
    std::uint32_t below(std::size_t end) { return static_cast<std::uint32_t>((*this)() % end); }

private:
    std::mt19937 engine_;
};
