// SPDX-License-Identifier: MIT
//
// The command stream against the plain codec.
#include <bench/plain_codec.h>

#include <panelkit/bridge/command_stream.h>

namespace {

void decode(const std::string& bytes, bench::Listing& listing) { CommandStreamIn(bytes) >> listing; }
void encode(const bench::Listing& listing, std::string& bytes) { CommandStreamOut(bytes) << listing; }

// Both have the same bytes.
void requireSameBytes() {
    const bench::Listing listing = bench::listingOf(2);
    std::string ours, plain;
    encode(listing, ours);
    bench::plainEncode(listing, plain);
    if (ours != plain) std::abort();
}

} // namespace

int main() {
    bench::keepTheHeap();
    requireSameBytes();
    for (const std::size_t count : {10U, 1'000U, 100'000U}) bench::compareCodec<decode, encode>("", count);
    return 0;
}
