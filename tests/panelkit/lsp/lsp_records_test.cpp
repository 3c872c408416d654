// SPDX-License-Identifier: MIT
#include "../../support/records.h"
#include "lsp_fixture.h"

using LSPcmd::LSPentry_t;
using LSPcmd::LSPsettings_t;

namespace {

template <class R>
R decoded(const std::string& bytes) {
    R record;
    CommandStreamIn(bytes) >> record;
    return record;
}

TEST(PolicyRecords, ReadAnInformationFieldByField) {
    const auto info = decoded<LSPinfo_t>(infoBytes);
    EXPECT_EQ(encoded(info.request), requestBytes);
    EXPECT_EQ(info.activated, 0x0102030405060708);
    EXPECT_TRUE(info.fromConfigDb && info.flag1 && info.bareMessage && info.isLoading);
    EXPECT_EQ(info.Title, "Title");
    EXPECT_EQ(info.message, "msg");
    EXPECT_THAT((std::vector{info.textB, info.textC, info.textD, info.textF, info.textG}),
                ElementsAre("B", "C", "D", "F", "G"));
    EXPECT_EQ(info.valueE, 14U);
    EXPECT_EQ(info.certificateState, 9U);
    EXPECT_EQ(info.certificateDate, "date");
}

TEST(PolicyRecords, ReadEachFlagAsTrueOnlyWhenItsByteIsOne) {
    const std::size_t flags = requestBytes.size() + 8;
    for (std::size_t clear = 0; clear < 4; ++clear) {
        std::string bytes = infoBytes;
        bytes[flags + clear] = 2;
        const auto info = decoded<LSPinfo_t>(bytes);
        EXPECT_THAT((std::vector{info.fromConfigDb, info.flag1, info.bareMessage, info.isLoading}),
                    ElementsAre(clear != 0, clear != 1, clear != 2, clear != 3));
    }
}

TEST(PolicyRecords, ComeBackEqualAndRefuseEveryTruncation) {
    expectRoundTripAndNoShortForm(server);
    expectRoundTripAndNoShortForm(settings);
    EXPECT_EQ(encoded(decoded<LSPrequest_t>(requestBytes)), requestBytes);
    EXPECT_EQ(firstPrefixThatReads<LSPrequest_t>(requestBytes), std::string::npos);
    EXPECT_EQ(encoded(decoded<LSPinfo_t>(infoBytes)), infoBytes);
    EXPECT_EQ(firstPrefixThatReads<LSPinfo_t>(infoBytes), std::string::npos);
}

TEST(PolicyRecords, BeginWithTheirDefaults) {
    EXPECT_EQ(encoded(LSPrequest_t()), std::string(4 + 4 + 4 + 36 + 4, '\0'));
    EXPECT_EQ(encoded(LSPinfo_t()), std::string(52 + 8 + 4 + 32 + 8, '\0'));
    EXPECT_EQ(toHex(encoded(LSPsettings_t())),
              toHex(hex("00 00 00 00  02 00 00 00  00 00 00 00 "
                        "00 00 00 00  03 00 00 00  00 00 00 00  00 00 00 00  04 00 00 00 "
                        "00 00 00 00  00 00 00 00  00 00 00 00  0a 00 00 00  00 00 00 00  00 00 00 00")));
}

TEST(PolicySettings, CutAndLengthenTheirEntriesAtTheEndAndReuseTheOthers) {
    const std::string two = settingsBytes;
    LSPsettings_t into;
    into.entries = {{"1", "1", "1"}, {"2", "2", "2"}, {"3", "3", "3"}};
    const LSPentry_t* const first = &into.entries.front();
    const LSPentry_t* const second = &*std::next(into.entries.begin());
    CommandStreamIn(two) >> into;
    EXPECT_THAT(into.entries, ElementsAre(LSPentry_t{"a", "b", "c"}, LSPentry_t{"", "", "z"}));
    EXPECT_EQ(&into.entries.front(), first);
    EXPECT_EQ(&into.entries.back(), second);

    into.entries.pop_back();
    CommandStreamIn(two) >> into;
    EXPECT_EQ(into.entries.size(), 2U);
    EXPECT_EQ(&into.entries.front(), first);

    const std::string none = encoded(LSPsettings_t());
    CommandStreamIn(none) >> into;
    EXPECT_TRUE(into.entries.empty());
}

TEST(PolicySettings, RefuseACountOfEntriesThatCannotBeThereBeforeTheyMakeRoomForIt) {
    std::string bytes = encoded(LSPsettings_t());
    bytes.replace(bytes.size() - 4, 4, hex("ff ff ff 7f"));
    LSPsettings_t into = settings;
    EXPECT_TRUE(throwsStreamError([&] { CommandStreamIn(bytes) >> into; }));
    EXPECT_EQ(into.entries, settings.entries);
}

// ---- which policies are the same

struct Pair {
    const char* what;
    void (*change)(LSPrequest_t& first, LSPrequest_t& second);
    bool same;
};

// clang-format off
const Pair pairs[] = {
    {"types",                     [](auto& a, auto&) { a.type = 4; },                                                 false},
    {"driver: mode",              [](auto& a, auto& b) { a.type = b.type = 0; a.driverMode = 7; },                    true},
    {"driver: everything else",   [](auto& a, auto& b) { a = {}; b = request; b.type = 0; },                          true},
    {"local system: user",        [](auto& a, auto& b) { a.type = b.type = 1; a.user = "x"; },                        true},
    {"local user: user",          [](auto& a, auto& b) { a.type = b.type = 7; a.user = "x"; },                        false},
    {"local user: file",          [](auto& a, auto& b) { a.type = b.type = 7; a.file = "x"; },                        true},
    {"user file: user",           [](auto& a, auto& b) { a.type = b.type = 5; a.user = "Anna"; },                     false},
    {"user file: file",           [](auto& a, auto& b) { a.type = b.type = 5; a.file = "F"; },                        false},
    {"user file: server",         [](auto& a, auto& b) { a.type = b.type = 5; a.server = {}; },                       true},
    {"system file: user",         [](auto& a, auto& b) { a.type = b.type = 2; a.user = ""; },                         true},
    {"system file: file",         [](auto& a, auto& b) { a.type = b.type = 2; a.file = ""; },                         false},
    {"user server: user",         [](auto& a, auto& b) { a.type = b.type = 6; a.user = "x"; },                        false},
    {"server: address",           [](auto& a, auto& b) { a.type = b.type = 3; a.server.Server = "x"; },               true},
    {"server: kinds",             [](auto& a, auto& b) { a.type = b.type = 3; a.server.authKind = 2; },               false},
    {"key: name",                 [](auto& a, auto& b) { a.type = b.type = 3; a.server.presharedKeyName = "x"; },     false},
    {"key: subject",              [](auto& a, auto& b) { a.type = b.type = 3; a.server.Subject = "x"; },              true},
    {"certificate: subject",      [](auto& a, auto& b) { a.type = b.type = 3; a.server.authKind = b.server.authKind = 2; a.server.Subject = "x"; }, false},
    {"certificate: key",          [](auto& a, auto& b) { a.type = b.type = 3; a.server.authKind = b.server.authKind = 0; a.server.presharedKeyName = "x"; }, true},
    {"certificate: first empty",  [](auto& a, auto& b) { a.type = b.type = 6; a.server.authKind = b.server.authKind = 2; a.server.Subject = ""; }, false},
    {"certificate: second empty", [](auto& a, auto& b) { a.type = b.type = 6; a.server.authKind = b.server.authKind = 2; b.server.Subject = ""; }, true},
    {"type 4: all but the type",  [](auto& a, auto& b) { a = {}; a.type = b.type = 4; },                              true},
    {"type 8: all but the type",  [](auto& a, auto& b) { a = {}; a.type = b.type = 8; },                              true},
};
// clang-format on

TEST(PolicyRequests, CompareWhatMattersToTheirTypeAndNothingElse) {
    EXPECT_TRUE(request == request);
    for (const Pair& pair : pairs) {
        LSPrequest_t first = request;
        LSPrequest_t second = request;
        pair.change(first, second);
        EXPECT_EQ(first == second, pair.same) << pair.what;
        EXPECT_EQ(first != second, !pair.same) << pair.what;
    }
}

} // namespace
