// SPDX-License-Identifier: MIT
#include <platform/loccore/mo_file.h>

#include "../../support/bytes.h"
#include "../../support/mo_writer.h"
#include "../../support/test.h"

namespace {

bool reads(std::string_view bytes, std::vector<Loc::MoText>& texts) {
    // A copy of exactly that size, so that a sanitizer sees any access past its end.
    static std::vector<char> exact;
    exact.assign(bytes.begin(), bytes.end());
    std::string error;
    const bool good = Loc::readMo({exact.data(), exact.size()}, texts, error);
    EXPECT_EQ(good, error.empty());
    return good;
}

bool reads(std::string_view bytes) {
    std::vector<Loc::MoText> texts;
    return reads(bytes, texts);
}

TEST(AMoFile, GivesItsTextsWithTheirContexts) {
    const std::string file =
        hex("de 12 04 95  00 00 00 00  02 00 00 00  1c 00 00 00  2c 00 00 00  00 00 00 00  3c 00 00 00"
            "04 00 00 00  3c 00 00 00   02 00 00 00  41 00 00 00"
            "01 00 00 00  44 00 00 00   03 00 00 00  46 00 00 00"
            "'c' 04 'id' 00  'ab' 00  'x' 00  'y' 00 'z' 00");
    std::vector<Loc::MoText> texts;
    ASSERT_TRUE(reads(file, texts));
    ASSERT_EQ(texts.size(), 2U);
    EXPECT_EQ(texts[0].context, "c");
    EXPECT_EQ(texts[0].original, "id");
    EXPECT_EQ(texts[0].translation, "x");
    EXPECT_FALSE(texts[1].context);
    EXPECT_EQ(texts[1].original, "ab");
    EXPECT_EQ(texts[1].translation, std::string_view("y\0z", 3)); // a plural
}

TEST(AMoFile, IsRefusedWhereverItIsCut) {
    const std::string file = moFile({{"", "header"}, {"context\4text", "translation"}});
    EXPECT_TRUE(reads(file));
    for (std::size_t length = 0; length < file.size(); ++length) EXPECT_FALSE(reads(file.substr(0, length))) << length;
}

TEST(AMoFile, IsRefusedWithWordsThatPointOutside) {
    const std::string file = moFile({{"", "header"}, {"text", "translation"}});
    const std::vector<std::pair<std::size_t, const char*>> faults{
        {0, "95 04 12 de"},  // the other byte order
        {4, "01 00 00 00"},  // an unsupported revision
        {8, "ff ff ff ff"},  // count
        {8, "00 00 00 20"},  // count that wraps in 32 bits
        {12, "fd ff ff ff"}, // originals
        {16, "ff ff ff ff"}, // translations
        {28, "ff ff ff ff"}, // the largest length
        {32, "ff ff ff ff"}, // an offset
        {36, "03 00 00 00"}, // a length that ends inside the text, where no NUL follows
    };
    for (const auto& [place, word] : faults) {
        std::string bad = file;
        bad.replace(place, 4, hex(word));
        EXPECT_FALSE(reads(bad)) << place << ' ' << word;
    }
}

} // namespace
