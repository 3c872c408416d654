// SPDX-License-Identifier: MIT
#include <panelkit/lparams/formatted_params.h>
#include <panelkit/lparams/sections/ike.h>

#include "../../support/bytes.h"
#include "../../support/test.h"

#include <ctime>

using LPARAMS::Client::CPUsParam;
using LPARAMS::Client::IKE;
using LPARAMS::Client::QcdSParam;

namespace {

// ---- the secret of quick crash detection

TEST(AQcdSecret, IsAnEvenNumberOf16To40Digits) {
    for (const char* good : {"0123456789ABCDEF", "0123456789abCdef", "0123456789absdef", "ssssssssssssssss",
                             "000000000000000000", "0123456789ABCDEF0123456789ABCDEF01234567"}) {
        EXPECT_TRUE(QcdSParam::checkFormat(good)) << good;
    }
    for (const char* bad : {"", "no", "auto", "0123456789abcdef", "01234567", "01234567890123", "012345678901234",
                            "01234567890123456", "012345678901234567890123456789012345678", "0123456789abdefS",
                            "0123456789ABCDEF0123456789ABCDEF0123456789", "0123456789ABCDEG", "0123456789ABCDE "}) {
        EXPECT_FALSE(QcdSParam::checkFormat(bad)) << bad;
    }
}

TEST(AQcdSecret, IsMadeFromTheClock) {
    std::string one = "old", two;
    const std::time_t before = std::time(nullptr);
    QcdSParam::genAuto(one);
    QcdSParam::genAuto(two);
    if (std::time(nullptr) == before) {
        EXPECT_EQ(one, two);
    }
    EXPECT_EQ(one.size(), 40U);
    EXPECT_EQ(one.find_first_not_of("0123456789ABCDEF"), std::string::npos);
    EXPECT_TRUE(QcdSParam::checkFormat(one));
    while (std::time(nullptr) <= before + 1) std::this_thread::sleep_for(std::chrono::milliseconds(50));
    QcdSParam::genAuto(two);
    EXPECT_NE(one, two) << "in another second";
}

std::string savedHistory(const std::string& value, const std::string& history) {
    IKE ike;
    ike.QCD_SECRET.value = value;
    ike.QCD_SECRET.history = history;
    std::string bytes;
    CommandStreamOut out(bytes);
    EXPECT_TRUE(ike.QCD_SECRET.save(out));
    EXPECT_EQ(bytes, encoded(ike.QCD_SECRET.history));
    return ike.QCD_SECRET.history;
}

TEST(AQcdSecret, IsSavedAsItsHistory) {
    const struct {
        const char *value, *history, *saved;
    } rows[] = {
        // clang-format off
        {"",     "",          ""},
        {"x",    "",          "x:"},
        {"x",    "x",         "x"},
        {"x",    "x:y",       "x:y"},
        {"n",    "a",         "n:a"},
        {"n",    "a:b:c",     "n:a:b:c"},
        {"n",    "a:b:c:",    "n:a:b:c"},
        {"n",    "a:b:c:d",   "n:a:b:c"},
        {"n",    "a:b:c:d:e", "n:a:b:c"},
        {"no",   "a:b",       "no"},
        {"n",    "no",        "n"},
        {"no",   "no",        "no"},
        {"n",    "no:a",      "n:no:a"}, // only a history that is "no" and nothing else counts as that
        {"",     "a:b",       ":a:b"},
        {"",     "a:b:c:d:e", ":a:b:c:d"}, // the leading colon is not counted
        {"auto", "a",         "auto:a"},
        {"a:b",  "a:b",       "a:b:a:b"},
        // clang-format on
    };
    for (const auto& row : rows) {
        EXPECT_EQ(savedHistory(row.value, row.history), row.saved) << row.value << " onto " << row.history;
    }
}

TEST(AQcdSecret, IsLoadedFromTheNewestEntryOfItsHistory) {
    const std::pair<std::string, const char*> rows[] = {{"", ""},       {"no", "no"}, {"a", "a"},      {"a:", "a"},
                                                        {"a:b:c", "a"}, {":x", ":x"}, {":a:b", ":a:b"}};
    for (const auto& [history, value] : rows) {
        IKE ike;
        const std::string bytes = encoded(history);
        CommandStreamIn in(bytes);
        EXPECT_TRUE(ike.QCD_SECRET.load(in));
        EXPECT_EQ(ike.QCD_SECRET.history, history);
        EXPECT_EQ(ike.QCD_SECRET.value, value);
    }
}

// ---- processors

TEST(AProcessorList, TakesTheseTextsAndNoOthers) {
    // clang-format off
    for (const char* good : {
             "ALL", "*", "-", "0", "0,1", "0-2", "2-0", "0x3", "x3", "0, 1", "\t0, \t1", "3-", "0-2047", "2047", "5-5",
             "1,1", "3- 5", " 3-5", "00000000000000000000007", "0xffffffff", "0xFfFf,1.2", "x0", "0x0,0", "0xDEADBEEF.1"}) {
        EXPECT_TRUE(CPUsParam::checkFormat(good)) << good;
    }
    for (const char* bad : {
             "", "0,,1", "all", "All", "ALL ", " ALL", "ALL,1", "*,1", "0 ,1", "0,1 ", "2048", "0-2048", "2048-", ",", "0,",
             ",0", "a", "1a", "-1", "--", "1--2", "1-2-3", "+1", "1,-", "3 -5", "3- ", "99999999999999999999", "0x", "x",
             "0X3", "0xg", "0x1,", "0x,1", "0x1..2", "0x123456789", "0x 1", "0x1-2", "1.2", "xx", "x0x1"}) {
        EXPECT_FALSE(CPUsParam::checkFormat(bad)) << bad;
    }
    // clang-format on
    EXPECT_FALSE(CPUsParam::checkFormat(std::string("1\0", 2)));
    std::string words = "0x1";
    for (int i = 1; i < 64; ++i) words += ",1";
    EXPECT_TRUE(CPUsParam::checkFormat(words)); // 2048 processors
    EXPECT_FALSE(CPUsParam::checkFormat(words + ",1"));
}

std::set<unsigned> processors(const std::string& text) {
    std::vector<std::uint32_t> bits;
    EXPECT_TRUE(panelkit::parseProcessors(text, bits)) << text;
    std::set<unsigned> set;
    for (unsigned i = 0; i < 32 * bits.size(); ++i) {
        if (bits[i / 32] >> i % 32 & 1U) set.insert(i);
    }
    return set;
}

TEST(AProcessorList, StandsForTheseProcessors) {
    EXPECT_THAT(processors("ALL"), ElementsAre());
    EXPECT_THAT(processors("33,0-2,5-4"), ElementsAre(0, 1, 2, 4, 5, 33));
    EXPECT_THAT(processors("2046-"), ElementsAre(2046, 2047));
    EXPECT_THAT(processors("0x5,80000001"), ElementsAre(0, 2, 32, 63));
    EXPECT_EQ(processors("0-2047").size(), 2048U);
}

} // namespace
