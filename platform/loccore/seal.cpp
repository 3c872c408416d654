// SPDX-License-Identifier: MIT
#include <platform/loccore/seal.h>

#include <charconv>

namespace Loc {

namespace {

constexpr std::string_view word = "cksum ";
constexpr std::size_t digits = 10;
constexpr std::size_t sealSize = word.size() + digits + 1;

std::uint32_t step(std::uint32_t crc, std::uint8_t byte) {
    crc ^= std::uint32_t{byte} << 24;
    for (int bit = 0; bit < 8; ++bit) crc = (crc << 1) ^ ((crc >> 31) * 0x04C11DB7U);
    return crc;
}

} // namespace

std::uint32_t cksum(std::string_view bytes) {
    std::uint32_t crc = 0;
    for (const char byte : bytes) crc = step(crc, static_cast<std::uint8_t>(byte));
    for (std::uint64_t length = bytes.size(); length; length >>= 8) {
        crc = step(crc, static_cast<std::uint8_t>(length & 0xFF));
    }
    return ~crc;
}

Seal takeSeal(std::string_view& bytes) {
    if (bytes.size() < sealSize) return Seal::none;
    std::string_view seal = bytes.substr(bytes.size() - sealSize);
    if (!seal.starts_with(word) || !seal.ends_with('\n')) return Seal::none;
    bytes.remove_suffix(sealSize);
    seal = seal.substr(word.size(), digits);
    std::uint32_t announced = 0;
    const auto read = std::from_chars(seal.data(), seal.data() + digits, announced);
    const bool whole = read.ec == std::errc() && read.ptr == seal.data() + digits;
    return whole && announced == cksum(bytes) ? Seal::good : Seal::wrong;
}

} // namespace Loc
