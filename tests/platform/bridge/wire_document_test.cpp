// SPDX-License-Identifier: MIT
//
// The byte dump in docs/wire-format.md must be what the code makes.
#include <panelkit/tokens/token_records.h>
#include <platform/bridge/frame.h>
#include <platform/bridge/messages.h>

#include "../../support/bytes.h"
#include "../../support/places.h"
#include "../../support/test.h"

using bridge::FrameKind;

namespace {

// The bytes of the dump in one direction: the text between the mark and the comment, which begins after three blanks.
std::string dumped(char direction) {
    std::ifstream document(sourceFile("docs/wire-format.md"));
    std::string bytes;
    for (std::string line; std::getline(document, line);) {
        if (line.size() > 2 && line[0] == direction && line[1] == ' ')
            bytes += hex(line.substr(2, line.find("   ") - 2));
    }
    return bytes;
}

std::string frame(bridge::FrameHeader header, const std::string& body) {
    header.length = static_cast<std::uint32_t>(body.size());
    const auto bytes = bridge::encodeFrameHeader(header);
    return std::string(bytes.data(), bytes.size()) + body;
}

TEST(TheWireFormatDocument, ShowsTheBytesThatTheCodeMakes) {
    const PKCS11::TokenInfo token{0, "Office", "A1B2", "", "embedded", 0x40C};
    EXPECT_EQ(
        toHex(dumped('>')),
        toHex(frame({.kind = FrameKind::hello}, encode(bridge::Hello{2, bridge::Role::commandSession, "Tokens"})) +
              frame({0, FrameKind::request, 6, 2, 1}, encoded(token, std::string("1234"), false))));
    EXPECT_EQ(
        toHex(dumped('<')),
        toHex(frame({.kind = FrameKind::welcome},
                    encode(bridge::Welcome{2, bridge::Verdict::accepted, 64U << 20, "panelkitd 0.1.0", ""})) +
              frame({.kind = FrameKind::remarks, .tag = 1},
                    encode(std::vector{bridge::Remark{10, {"the token \"%s\" is not there", {"Office"}}}})) +
              frame({0, FrameKind::refused, 6, 2, 1}, encode(bridge::Refusal{bridge::RefusalReason::byModule, 10,
                                                                             "the token \"Office\" is not there"}))));
}

} // namespace
