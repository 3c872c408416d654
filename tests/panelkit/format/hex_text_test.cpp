// SPDX-License-Identifier: MIT
#include <panelkit/format/hex_text.h>
#include <panelkit/format/log_level.h>

#include "../../support/test.h"

using namespace panelkit;

namespace {

std::string hexOf(std::string_view bytes, char separator = 0) {
    std::string text = "kept ";
    appendHex(bytes, text, separator);
    return text;
}

TEST(HexText, AppendsUpperCaseDigitsWithASeparatorOnlyBetweenBytes) {
    const std::string_view bytes("\x00\x9a\xff\x7f", 4);
    EXPECT_EQ(hexOf(bytes), "kept 009AFF7F");
    EXPECT_EQ(hexOf(bytes, ':'), "kept 00:9A:FF:7F");
    EXPECT_EQ(hexOf(bytes.substr(1, 1), ':'), "kept 9A");
}

// 3n - 1 characters would be -1 for no bytes.
TEST(HexText, AppendsNothingForNoBytes) {
    EXPECT_EQ(hexOf(""), "kept ");
    EXPECT_EQ(hexOf("", ' '), "kept ");
    EXPECT_EQ(hexOf({}, ' '), "kept ");
}

TEST(LogLevels, HaveNamesFromZeroToThreeAndTheCallersTextBeyond) {
    EXPECT_STREQ(logLevelName(0, "?"), "DISABLED");
    EXPECT_STREQ(logLevelName(1, "?"), "EVENTS");
    EXPECT_STREQ(logLevelName(2, "?"), "DETAILS");
    EXPECT_STREQ(logLevelName(3, "?"), "VERBOSE");
    const char* fallback = "unknown";
    for (const std::uint32_t level : {4U, 7U, 0xFFFFFFFFU}) EXPECT_EQ(logLevelName(level, fallback), fallback);
    EXPECT_EQ(logLevelName(4, nullptr), nullptr);
}

} // namespace
