// SPDX-License-Identifier: MIT
//
// Hellos, welcomes, refusals and remarks of any bytes: what can be read is written back unchanged.
#include <platform/bridge/frame.h>
#include <platform/bridge/messages.h>

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
    check(bytes, bridge::decodeRemarks);
    if (const auto remarks = bridge::decodeRemarks(bytes)) {
        if (encode(bridge::fitted(*remarks)).size() > bridge::remarksLimit) std::abort();
        Loc::fill(bridge::phrasesOf(*remarks)); // must be safe for any wording
    }
    return 0;
}
