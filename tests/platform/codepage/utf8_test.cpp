// SPDX-License-Identifier: MIT
#include <platform/codepage/utf8.h>

#include "../../support/test.h"

namespace {

TEST(EncodedUtf8, HasAReplacementForEverySurrogateWithoutItsPair) {
    const std::pair<std::u16string, const char*> rows[] = {
        {{0xD83D, 0xDD11}, "\U0001F511"},
        {{0xDBFF, 0xDFFF}, "\U0010FFFF"},
        {{0xD800, 0xDC00}, "\U00010000"},
        {{0xD83D}, "\uFFFD"},
        {{0xDD11}, "\uFFFD"},
        {{0xDD11, 0xD83D}, "\uFFFD\uFFFD"},
        {{0xD83D, 0xD83D}, "\uFFFD\uFFFD"},
        {{0xDC00, 0xDC00}, "\uFFFD\uFFFD"},
        {{0xD83D, u'a'}, "\uFFFDa"},
        {{0xD83D, 0xE000}, "\uFFFD\uE000"},
        {{0xD7FF, 0xDC00}, "\uD7FF\uFFFD"},
    };
    for (const auto& [text, expected] : rows) {
        std::string bytes;
        platform::encodeUtf8(text, bytes);
        EXPECT_EQ(bytes, expected);
    }
}

} // namespace
