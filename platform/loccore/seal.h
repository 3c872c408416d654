// SPDX-License-Identifier: MIT
//
// The seal that ends a catalogue of ours: the line "cksum NNNNNNNNNN", with the ten-digit CRC that POSIX cksum gives
// for all bytes before it. It finds what no look at the structure can: a flipped letter in a translation. It is no
// signature; whoever can write the file can seal it.
#pragma once

#include <cstdint>
#include <string_view>

namespace Loc {

// The CRC of POSIX cksum.
std::uint32_t cksum(std::string_view bytes);

enum class Seal : unsigned char { none, good, wrong };

// Looks for a seal at the end of `bytes` and, when there is one, takes it off them.
Seal takeSeal(std::string_view& bytes);

} // namespace Loc
