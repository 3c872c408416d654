// SPDX-License-Identifier: MIT
//
// Hellos, welcomes and refusals of any bytes: what is understood is written as it was read.
#include <platform/bridge/hello.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

template <class Decode>
void check(std::string_view bytes, Decode decode) {
    const auto understood = decode(bytes);
    if (understood && !bytes.starts_with(bridge::encode(*understood))) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(data, data + size);
    check(bytes, bridge::decodeHello);
    check(bytes, bridge::decodeWelcome);
    check(bytes, bridge::decodeRefusal);
    return 0;
}
