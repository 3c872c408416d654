// SPDX-License-Identifier: MIT
//
// Remarks: their bytes, how callers get them, and the effect of a service that sends false ones. server_test.cpp tests
// how the server sends them.
#include <panelkit/bridge/send_command.h>
#include <platform/bridge/frame.h>
#include <platform/bridge/messages.h>

#include "../../support/bytes.h"
#include "../../support/service_fixture.h"

using bridge::FailureCode;
using bridge::Remark;
using Loc::makePhrase;
using panelkit::DirectCommand;

namespace {

const Remark gone{10, {"the token \"%s\" is not there", {"Office"}}};
const std::string goneBytes = hex("0a 00 00 00  1b 00 00 00 'the token \"%s\" is not there'  01 00 00 00  "
                                  "06 00 00 00 'Office'");

std::string number(std::size_t value) { return encoded(static_cast<std::uint32_t>(value)); }

// So many remarks, each of a code, a wording and no arguments.
std::string manyBytes(std::size_t count, const std::string& wording) {
    std::string body = number(count);
    for (std::size_t i = 0; i < count; ++i) body += number(0) + encoded(wording) + number(0);
    return body;
}

// ---- bytes

TEST(Remarks, HaveTheirHandWrittenBytes) {
    EXPECT_EQ(toHex(encode(std::vector{gone})), toHex(number(1) + goneBytes));
    const std::vector<Remark> both{gone, {0, makePhrase("plain")}};
    const auto read = bridge::decodeRemarks(encode(both) + "and what a later version adds");
    ASSERT_TRUE(read);
    EXPECT_EQ(*read, both);
}

TEST(Remarks, AreReadWholeAndWithinTheirLimitsOrNotAtAll) {
    const std::string whole = number(2) + goneBytes + goneBytes;
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const std::vector<char> exact(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_FALSE(bridge::decodeRemarks({exact.data(), exact.size()})) << length;
    }
    EXPECT_FALSE(bridge::decodeRemarks(number(0))) << "none";
    EXPECT_FALSE(bridge::decodeRemarks(manyBytes(1, ""))) << "no wording";
    EXPECT_TRUE(bridge::decodeRemarks(manyBytes(100, "w")));
    EXPECT_FALSE(bridge::decodeRemarks(manyBytes(101, "w")));
    const auto withArguments = [](std::size_t count) {
        std::string body = number(1) + number(0) + encoded(std::string("w")) + number(count);
        for (std::size_t i = 0; i < count; ++i) body += encoded(std::string());
        return bridge::decodeRemarks(body).has_value();
    };
    EXPECT_TRUE(withArguments(9));
    EXPECT_FALSE(withArguments(10));
}

TEST(Remarks, AreMadeToFitIntoTheirFrame) {
    const std::string longText = std::string(4092, 'x') + "\xD0\x96" + std::string(1U << 20, 'y');
    const auto cut = bridge::fitted({{1, makePhrase("%s", longText)}});
    EXPECT_EQ(cut.at(0).phrase.arguments.at(0), std::string(4092, 'x') + "...") << "not within a character";
    const std::string longest(4096, 'x');
    EXPECT_EQ(bridge::fitted({{1, makePhrase("%s", longest)}}).at(0).phrase.arguments.at(0), longest);

    const auto last = [](const std::vector<Remark>& remarks) { return Loc::fill(remarks.back().phrase); };
    EXPECT_EQ(last(bridge::fitted(std::vector<Remark>(100, gone))), Loc::fill(gone.phrase));
    const auto many = bridge::fitted(std::vector<Remark>(1000, gone));
    EXPECT_EQ(many.size(), 100U);
    EXPECT_EQ(last(many), "and 901 more");

    const Remark large{1, makePhrase("%s%s%s%s%s%s%s%s%s", longest, longest, longest, longest, longest, longest,
                                     longest, longest, longest)};
    const auto bulky = bridge::fitted(std::vector<Remark>(50, large));
    EXPECT_LT(encode(bulky).size(), bridge::remarksLimit);
    EXPECT_EQ(last(bulky), "and " + std::to_string(51 - bulky.size()) + " more");
    EXPECT_TRUE(bridge::decodeRemarks(encode(bulky)));
}

// ---- as callers get them

using ACaller = WithScriptedService;

TEST_F(ACaller, HasTheRemarksOfItsLastCommand) {
    service->on(Command::EnumProviders,
                Reaction::reply("r").remarking(10, gone.phrase).remarking(33, makePhrase("why")));
    std::string reply;
    EXPECT_TRUE(DirectCommand<Command::EnumProviders>().send(&reply));
    EXPECT_EQ(reply, "r");
    EXPECT_EQ(bridge::lastRemarks(), (std::vector<Remark>{gone, {33, makePhrase("why")}}));
    EXPECT_EQ(bridge::lastFailure().text(), "");
    service->on(Command::TokenLogout, Reaction::reply(""));
    EXPECT_TRUE(DirectCommand<Command::TokenLogout>().send());
    EXPECT_TRUE(bridge::lastRemarks().empty()) << "those of another command";
}

TEST_F(ACaller, HasTheReasonsOfARefusalAsPhrases) {
    service->on(Command::EnumProviders,
                Reaction::refuse("in English", 10).remarking(10, gone.phrase).remarking(33, makePhrase("why")));
    EXPECT_FALSE(DirectCommand<Command::EnumProviders>().send());
    const bridge::Failure& failure = bridge::lastFailure();
    EXPECT_EQ(failure.code, FailureCode::refused);
    EXPECT_EQ(failure.detail, 10U);
    EXPECT_EQ(failure.phrases, (std::vector{gone.phrase, makePhrase("why")}));
    EXPECT_EQ(failure.text(), "the token \"Office\" is not there: why");
    service->on(Command::EnumProviders, Reaction::refuse("100% in English"));
    EXPECT_FALSE(DirectCommand<Command::EnumProviders>().send());
    EXPECT_EQ(bridge::lastFailure().text(), "100% in English") << "a service that makes no remarks";
}

TEST_F(ACaller, SpeaksToAServiceOfTheFirstVersion) {
    service->greet({.version = 1});
    service->on(Command::EnumProviders, Reaction::refuse("old", 10));
    EXPECT_FALSE(DirectCommand<Command::EnumProviders>().send());
    EXPECT_EQ(bridge::lastFailure().text(), "old");
    EXPECT_EQ(bridge::lastFailure().detail, 10U);
    EXPECT_EQ(service->opened().size(), 2U) << "once in our version, once in its own";
    service->on(Command::EnumProviders, Reaction::reply("fine"));
    EXPECT_TRUE(DirectCommand<Command::EnumProviders>().send());
    EXPECT_EQ(service->opened().size(), 2U);

    service->on(Command::EnumProviders, Reaction::reply("").remarking(1, makePhrase("unheard of")));
    EXPECT_FALSE(DirectCommand<Command::EnumProviders>().send()) << "the first version has no remarks";
    EXPECT_EQ(bridge::lastFailure().code, FailureCode::connectionLost);
}

// Whatever versions a service claims, the client never uses an unknown one and never tries for ever.
TEST_F(ACaller, IsNotLedIntoAVersionThatItDoesNotSpeak) {
    using bridge::FrameKind;
    const auto welcome = [](std::uint32_t version, bridge::Verdict verdict, FrameKind kind = FrameKind::welcome) {
        const std::string body = encode(bridge::Welcome{version, verdict, 1000, "s", ""});
        const auto header = bridge::encodeFrameHeader({static_cast<std::uint32_t>(body.size()), kind});
        return std::string(header.data(), header.size()) + body;
    };
    struct Claim {
        std::uint32_t version;
        bridge::Verdict verdict;
        std::size_t attempts;
    };
    using bridge::Verdict;
    for (const Claim& claim : {Claim{0, Verdict::accepted, 1}, Claim{3, Verdict::accepted, 1},
                               Claim{0xFFFFFFFF, Verdict::accepted, 1}, Claim{0, Verdict::versionMismatch, 1},
                               Claim{1, Verdict::versionMismatch, 2}, Claim{2, Verdict::versionMismatch, 1},
                               Claim{3, Verdict::versionMismatch, 1}, Claim{2, Verdict::malformed, 1}}) {
        const std::size_t before = service->opened().size();
        service->greet({.raw = welcome(claim.version, claim.verdict)});
        EXPECT_FALSE(DirectCommand<Command::EnumProviders>().send());
        EXPECT_EQ(bridge::lastFailure().code, FailureCode::versionMismatch) << claim.version;
        EXPECT_EQ(service->opened().size() - before, claim.attempts) << claim.version;
    }
    service->greet({.raw = welcome(2, Verdict::accepted, FrameKind::reply)});
    EXPECT_FALSE(DirectCommand<Command::EnumProviders>().send()) << "a frame of another kind is not a welcome";
    EXPECT_TRUE(service->requests().empty());
}

// ---- false claims

struct Lie {
    const char* name;
    Reaction::Frame frame; // sent before an answer
    bool afterRemarks = false;
};

class ALyingService : public WithScriptedService, public testing::WithParamInterface<Lie> {};

TEST_P(ALyingService, LosesTheConnectionAndNothingElse) {
    const Reaction honest = Reaction::reply("r");
    service->on(Command::EnumProviders,
                (GetParam().afterRemarks ? honest.remarking(10, gone.phrase) : honest).behind(GetParam().frame));
    service->on(Command::TokenLogout, Reaction::reply("fine"));
    std::string reply;
    EXPECT_FALSE(DirectCommand<Command::EnumProviders>().send(&reply));
    EXPECT_EQ(bridge::lastFailure().code, FailureCode::connectionLost);
    EXPECT_THAT(bridge::lastFailure().text(), testing::StartsWith("the connection to the service was lost: it sent a"));
    EXPECT_TRUE(bridge::lastRemarks().empty());
    EXPECT_TRUE(DirectCommand<Command::TokenLogout>().send(&reply));
    EXPECT_EQ(reply, "fine");
}

constexpr std::uint32_t remarksKind = 10, workingKind = 6;
const std::string answerBytes = hex("01 00 00 00  04 00 00 00  00 00 00 00  00 00 00 00  01 00 00 00 'r'");

INSTANTIATE_TEST_SUITE_P(Bridge, ALyingService,
                         testing::Values(Lie{"remarks_nonsense", {remarksKind, std::string(64, '\x07')}},
                                         Lie{"remarks_nothing", {remarksKind, ""}},
                                         Lie{"remarks_none", {remarksKind, number(0)}},
                                         Lie{"remarks_too_many", {remarksKind, manyBytes(101, "w")}},
                                         Lie{"remarks_too_much", {remarksKind, std::string((1U << 20) + 1, 'x')}},
                                         Lie{"remarks_with_another_tag", {remarksKind, number(1) + goneBytes, 1}},
                                         Lie{"remarks_twice", {remarksKind, number(1) + goneBytes}, true},
                                         Lie{"works_after_remarks", {workingKind, ""}, true},
                                         Lie{"works_with_an_answer_as_its_body", {workingKind, answerBytes}},
                                         Lie{"answers_another_command", {4, "r", 1}},
                                         Lie{"sends_an_unknown_kind", {11, ""}}),
                         [](const auto& lie) { return lie.param.name; });

// Remarks of the largest size, whose wordings repeat their arguments again and again, become a bounded text.
TEST_F(ACaller, FillsWordingsOfAnySizeWithinBounds) {
    std::string places;
    for (int i = 0; i < 20'000; ++i) places += "%1$s";
    Reaction hostile = Reaction::refuse();
    for (int i = 0; i < 6; ++i) hostile = hostile.remarking(1, {places, {std::string(80'000, 'x')}});
    service->on(Command::EnumProviders, hostile);
    EXPECT_FALSE(DirectCommand<Command::EnumProviders>().send());
    const std::string text = bridge::lastFailure().text();
    EXPECT_LT(text.size(), 3U << 20);
    EXPECT_THAT(text, testing::EndsWith("..."));
}

} // namespace
