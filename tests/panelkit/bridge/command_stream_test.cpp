// SPDX-License-Identifier: MIT
#include <panelkit/bridge/command_stream.h>
#include <panelkit/tokens/token_records.h>

#include "../../support/bytes.h"
#include "../../support/records.h"

using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;

namespace {

enum class Flavour : std::uint32_t { sour = 0x01020304 };

TEST(CommandStream, WritesEachPrimitiveAsItsBytes) {
    EXPECT_EQ(encoded(std::uint16_t{0x1234}), hex("34 12"));
    EXPECT_EQ(encoded(std::uint32_t{0x12345678}), hex("78 56 34 12"));
    EXPECT_EQ(encoded(std::int32_t{-2}), hex("fe ff ff ff"));
    EXPECT_EQ(encoded(Flavour::sour), hex("04 03 02 01"));
    EXPECT_EQ(encoded(std::uint64_t{0x0102030405060708}), hex("08 07 06 05 04 03 02 01"));
    EXPECT_EQ(encoded(true, false), hex("01 00"));
    EXPECT_EQ(encoded(std::string()), hex("00 00 00 00"));
    EXPECT_EQ(encoded(std::string("Pi\0n", 4)), hex("04 00 00 00 'Pi' 00 'n'"));
    EXPECT_EQ(encoded(std::vector<std::uint32_t>{1, 0xFFFFFFFF}), hex("02 00 00 00  01 00 00 00  ff ff ff ff"));
    EXPECT_EQ(encoded(std::vector<std::string>{"a", ""}), hex("02 00 00 00  01 00 00 00 'a'  00 00 00 00"));
    EXPECT_EQ(encoded(StringPairs{{"n", "v"}, {"", "x"}}),
              hex("02 00 00 00  01 00 00 00 'n'  01 00 00 00 'v'  00 00 00 00  01 00 00 00 'x'"));
}

TEST(CommandStream, AppendsToWhatTheStringHolds) {
    std::string bytes = "kept";
    CommandStreamOut(bytes) << std::uint32_t{1} << true << std::string_view("x");
    EXPECT_EQ(bytes, hex("'kept' 01 00 00 00  01  01 00 00 00 'x'"));
}

// Growing the string of a request with a secret would leave copies in freed memory.
TEST(CommandStream, OneAppendAllocatesOnce) {
    std::string bytes;
    CommandStreamOut(bytes).append(std::string(100, 'a'), std::string(1000, 'b'), std::uint32_t{1});
    EXPECT_EQ(bytes.size(), 1112U);
    EXPECT_EQ(bytes.capacity(), 1112U);
}

TEST(CommandStream, ReadsEachPrimitiveFromItsBytes) {
    const std::string bytes = hex("34 12  78 56 34 12  fe ff ff ff  04 03 02 01  08 07 06 05 04 03 02 01  "
                                  "02 00 00 00 'a' 00  00 00 00 00");
    CommandStreamIn in(bytes);
    std::uint16_t port{};
    std::uint32_t count{};
    std::int32_t number{};
    Flavour flavour{};
    std::uint64_t identifier{};
    std::string text = "old", empty = "old";
    in >> port >> count >> number >> flavour >> identifier >> text >> empty;
    EXPECT_EQ(port, 0x1234);
    EXPECT_EQ(count, 0x12345678U);
    EXPECT_EQ(number, -2);
    EXPECT_EQ(flavour, Flavour::sour);
    EXPECT_EQ(identifier, 0x0102030405060708U);
    EXPECT_EQ(text, std::string("a\0", 2));
    EXPECT_EQ(empty, "");
    EXPECT_EQ(in.position(), bytes.size());
    EXPECT_EQ(in.size(), bytes.size());
}

TEST(CommandStream, ReadsOnlyTheByteOneAsTrue) {
    for (int byte = 0; byte < 256; ++byte) {
        const std::string bytes(1, static_cast<char>(byte));
        bool value = byte != 1;
        CommandStreamIn(bytes) >> value;
        EXPECT_EQ(value, byte == 1) << byte;
    }
}

TEST(CommandStream, ThrowsTheTextFromTheReadThatCrossesTheEnd) {
    EXPECT_TRUE(readingThrows<std::uint32_t>(""));
    EXPECT_TRUE(readingThrows<std::uint32_t>("abc"));
    EXPECT_FALSE(readingThrows<std::uint32_t>("abcd1234"));
    EXPECT_TRUE(readingThrows<std::uint64_t>("abcdefg"));
    EXPECT_TRUE(readingThrows<bool>(""));
    EXPECT_TRUE(readingThrows<std::string>(hex("01 00 00")));
}

TEST(CommandStream, MovesThePositionBeforeItThrows) {
    const std::string bytes = "abc";
    CommandStreamIn in(bytes);
    std::uint32_t value = 7;
    EXPECT_ANY_THROW(in >> value);
    EXPECT_EQ(in.position(), 4U);
    EXPECT_EQ(value, 7U);
    EXPECT_ANY_THROW(CommandStreamIn(bytes, 4).skip(0)) << "it begins past the end";
}

// The position is past the end then; a check that computed size - position would wrap and let the next read pass.
TEST(CommandStream, ThrowsAgainWhenItIsUsedAfterACaughtError) {
    const std::vector<char> bytes = {'\xff', '\xff', '\xff', '\xff', 'x'};
    CommandStreamIn in(bytes.data(), bytes.size());
    std::string text = "kept";
    EXPECT_ANY_THROW(in >> text);
    for (int i = 0; i < 3; ++i) {
        bool flag{};
        std::vector<std::uint32_t> numbers;
        EXPECT_ANY_THROW(in >> flag);
        EXPECT_ANY_THROW(in >> numbers);
    }
    EXPECT_EQ(text, "kept");
}

TEST(CommandStream, RefusesACountThatNoReplyCanHoldBeforeItAllocates) {
    const std::string bytes = hex("ff ff ff ff 00 00 00 00 00 00 00 00 00 00 00 00");
    std::vector<TokenInfo> tokens(2);
    std::vector<std::uint32_t> numbers{1};
    StringPairs pairs{{"a", "b"}};
    EXPECT_ANY_THROW(CommandStreamIn(bytes) >> tokens);
    EXPECT_ANY_THROW(CommandStreamIn(bytes) >> numbers);
    EXPECT_ANY_THROW(CommandStreamIn(bytes) >> pairs);
    EXPECT_EQ(tokens.size(), 2U);
    EXPECT_THAT(numbers, ElementsAre(1));
    EXPECT_EQ(pairs.size(), 1U);
}

TEST(CommandStream, ResizesAVectorFirstAndKeepsWhatWasReadBeforeAnError) {
    TokenInfo first;
    first.slotId = 5;
    first.text1 = "label";
    const std::string bytes = hex("03 00 00 00") + encoded(first) + hex("01 00 00 00 00 00 00 00");
    std::vector<TokenInfo> tokens;
    EXPECT_ANY_THROW(CommandStreamIn(bytes) >> tokens);
    ASSERT_EQ(tokens.size(), 3U);
    EXPECT_EQ(tokens[0], first);
    EXPECT_EQ(tokens[1].slotId, 1U); // the field before the one that crossed the end
    EXPECT_EQ(tokens[2], TokenInfo());
}

TEST(CommandStream, EmptiesAVectorOnACountOfZeroAndAppendsPairsInOrder) {
    std::vector<ProviderInfo> providers(5);
    CommandStreamIn(std::string_view("\0\0\0\0", 4).data(), 4) >> providers;
    EXPECT_TRUE(providers.empty());

    const std::string bytes = encoded(StringPairs{{"a", "1"}, {"b", "2"}});
    StringPairs pairs{{"old", "old"}};
    CommandStreamIn(bytes) >> pairs;
    EXPECT_EQ(pairs, (StringPairs{{"a", "1"}, {"b", "2"}}));
}

TEST(CommandStream, KeepsWholePairsOnly) {
    const std::string bytes = hex("02 00 00 00  01 00 00 00 'a'  01 00 00 00 'b'  01 00 00 00 'c'  02 00 00 00 'd'");
    StringPairs pairs{{"old", "old"}};
    CommandStreamIn in(bytes);
    EXPECT_ANY_THROW(in >> pairs);
    EXPECT_EQ(pairs, (StringPairs{{"a", "b"}}));
    const std::string claims = hex("03 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00"); // room for two
    CommandStreamIn strict(claims, platform::StreamIn::Counts::mustFit);
    EXPECT_ANY_THROW(strict >> pairs);
    EXPECT_EQ(strict.position(), 4U) << "the count is refused, before a pair is read";
}

// ---- the records of tokens

TEST(TokenRecords, HaveTheirHandWrittenBytes) {
    EXPECT_EQ(encoded(ProviderInfo()), std::string(35, '\0'));
    EXPECT_EQ(encoded(TokenInfo()), std::string(28, '\0'));
    EXPECT_EQ(encoded(PinStateMessage()), std::string(8, '\0'));

    const ProviderInfo provider{"1", "22", "3", "4", "5", "6", 0x0A0B0C0D, true, false, true, "7"};
    EXPECT_EQ(encoded(provider), hex("01 00 00 00 '1'  02 00 00 00 '22'  01 00 00 00 '3'  01 00 00 00 '4'"
                                     "01 00 00 00 '5'  01 00 00 00 '6'  0d 0c 0b 0a  01 00 01  01 00 00 00 '7'"));
    const TokenInfo token{0x1122334455667788, "a", "b", "c", "d", 0x00040605};
    EXPECT_EQ(encoded(token), hex("88 77 66 55 44 33 22 11  01 00 00 00 'a'  01 00 00 00 'b'  01 00 00 00 'c'"
                                  "01 00 00 00 'd'  05 06 04 00"));
    EXPECT_EQ(encoded(PinStateMessage{"T", "xy"}), hex("01 00 00 00 'T'  02 00 00 00 'xy'"));
}

TEST(TokenRecords, ComeBackEqualAndRefuseEveryTruncation) {
    expectRoundTripAndNoShortForm(ProviderInfo{"1", "22", "333", "", "5", "6", 9, true, true, false, "seven"});
    expectRoundTripAndNoShortForm(TokenInfo{1, "label", "serial", "", "provider", 7});
    expectRoundTripAndNoShortForm(PinStateMessage{"title", "text"});
}

} // namespace
