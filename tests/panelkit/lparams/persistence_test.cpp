// SPDX-License-Identifier: MIT
#include <panelkit/lparams/sections/sections.h>

#include "../../support/bytes.h"
#include "../../support/service_fixture.h"

#include <type_traits>

using namespace LPARAMS::Client;
using panelkit::testing::Received;

namespace {

static_assert(!std::is_copy_constructible_v<IKE> && !std::is_move_constructible_v<IKE>);
static_assert(!std::is_copy_assignable_v<IKE> && !std::is_move_assignable_v<IKE>);

// The bodies of all sections with their defaults, a line or more each group of parameters.
const std::map<std::string, const char*> defaults{
    {"ADMIN", "0a 00 00 00  01  05 00 00 00 'admin'  00 00 00 00"},
    {"CERTMON",
     "01  1e 00 00 00  a0 8c 00 00 00 00 00 00  00  09 00 00 00 '127.0.0.1'  d1 01  01"
     "00 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00"},
    {"IKE", "01  01 00 00 00  00 00 00 00  3c 00 00 00  05 00 00 00  40 00 00 00  04 00 00 00  04 00 00 00"
            "01  00 00 00 00  10 00 00 00  01 00 00 00  00  01 00 00 00  02 00 00 00  05 00 00 00  02 00 00 00"
            "0a 00 00 00  01 00 00 00  01  01  01  00 00 00 00  1e 00 00 00  14 00 00 00  00 08 00 00  05 00 00 00"
            "00 02 00 00  00 00 00 00  00  02 00 00 00  00 00 00 00  00 00 00 00"},
    {"LOG", "01 00 00 00  01 00 00 00  01  00 00 a0 00  05 00 00 00  00  09 00 00 00 '127.0.0.1'  11 00 00 00  00"
            "e9 fd 00 00  e9 fd 00 00  00 00 00 00  00 00 00 00  01  00  00  00  00  01  01  00"},
    {"LOGON", "00  00 00 00 00  02 00 00 00  0a 00 00 00  1a 00 00 00 'Trusted Certificates token'  00 00 00 00"
              "0a 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00"},
    {"PCAP", "00 02 00 00  03 00 00 00 'ALL'  00 20 00 00  00  00 00 00 00  01 00 00 00  00 00 00 00  00"},
    {"POLICY", "00 00 00 00  00 00 00 00  00 00 00 00  01 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00"
               "00 00 00 00  00 00 00 00  0a 00 00 00  00 00 00 00"},
    {"PRIVKEY", "0f 00 00 00  24 00 00 00"},
    {"PROXY", "00 00  00 00 00 00"},
    {"UPDATE", "00 00 00 00  00 00 00 00  01"},
    {"USER", "00 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00  01 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00"
             "0a 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00"},
};

std::string body(const ParamGroup& group) {
    std::string bytes;
    CommandStreamOut out(bytes);
    group.save(out);
    return bytes;
}

// The name as a string, then the body.
std::string writeRequest(const char* name, const std::string& bytes) { return encoded(std::string(name)) + bytes; }

TEST(ASection, HasItsHandWrittenBytesComesBackFromThemAndRefusesEveryTruncation) {
    EXPECT_EQ(defaults.size(), panelkit::sections().size());
    for (const panelkit::Section& section : panelkit::sections()) {
        const std::string whole = hex(defaults.at(section.name));
        EXPECT_EQ(toHex(body(*section.make())), toHex(whole)) << section.name;
        CommandStreamIn in(whole);
        const auto group = section.make();
        group->load(in);
        EXPECT_EQ(in.position(), whole.size());
        EXPECT_EQ(group->snapshot, writeRequest(section.name, whole));
        for (std::size_t length = 0; length < whole.size(); ++length) {
            const std::vector<char> prefix(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
            CommandStreamIn cut(prefix.data(), prefix.size());
            EXPECT_THROW(section.make()->load(cut), const char*) << section.name << ' ' << length;
        }
    }
}

TEST(AParameter, IsNotCheckedAgainstItsBoundsWhenItIsRead) {
    ADMIN admin;
    const std::string bytes = hex("ff ff ff ff");
    CommandStreamIn in(bytes);
    EXPECT_TRUE(admin.SESSION_EXPTIME.load(in));
    EXPECT_EQ(admin.SESSION_EXPTIME.value, 4294967295U);
}

TEST(AParameterOfAnotherKind, StreamsAsAStringUnderItsKey) {
    PROXY proxy;
    IKE ike;
    const std::unique_ptr<StStParam> mirror(StStParam::fromParam(&proxy, ike.EXCHANGE_TIMEOUT));
    EXPECT_EQ(proxy.params.back(), mirror.get());
    EXPECT_EQ(&mirror->label, &ike.EXCHANGE_TIMEOUT.label);
    EXPECT_EQ(&mirror->help, &ike.EXCHANGE_TIMEOUT.help);
    EXPECT_EQ(mirror->key, ike.EXCHANGE_TIMEOUT.key);
    EXPECT_EQ(mirror->type(), 6);
    EXPECT_EQ(mirror->value + mirror->defValue, "");
    mirror->value = "60";
    EXPECT_EQ(toHex(body(proxy)), toHex(hex("00 00  00 00 00 00  02 00 00 00 '60'")));
}

// ---- gateways

std::string gate(const char* address, const char* subject, const char* selector) {
    return encoded(std::string(address), std::string(subject), std::string(selector));
}

void load(Param& param, const std::string& bytes) {
    CommandStreamIn in(bytes);
    param.load(in);
    EXPECT_EQ(in.position(), bytes.size());
}

TEST(TheGateways, AreACountAndThreeStringsEach) {
    USER user;
    const std::string three =
        hex("03 00 00 00") + gate("gw1", "CN=a", "10.0.0.0/8") + gate("", "", "") + gate("c", "", "d");
    load(user.LSP_GATES, three);
    ASSERT_EQ(user.LSP_GATES.items.size(), 3U);
    const LSP_GATE& first = *user.LSP_GATES.items[0];
    EXPECT_STREQ(first.name, "LSP_GATE");
    EXPECT_EQ(first.CERT_SUBJECT.value, "CN=a");
    EXPECT_EQ(first.snapshot, writeRequest("LSP_GATE", gate("gw1", "CN=a", "10.0.0.0/8")));
    EXPECT_EQ(user.LSP_GATES.items[2]->DST_SELECTOR.value, "d");
    std::string bytes;
    CommandStreamOut out(bytes);
    EXPECT_TRUE(user.LSP_GATES.save(out));
    EXPECT_EQ(toHex(bytes), toHex(three));
    load(user.LSP_GATES, hex("00 00 00 00"));
    EXPECT_TRUE(user.LSP_GATES.items.empty());
}

TEST(TheGateways, AreDestroyedBeforeTheyAreRead) {
    USER user;
    load(user.LSP_GATES, hex("01 00 00 00") + gate("a", "b", "c"));
    EXPECT_THROW(load(user.LSP_GATES, hex("02 00 00 00") + gate("x", "y", "z") + hex("01 00 00 00")), const char*);
    ASSERT_EQ(user.LSP_GATES.items.size(), 2U); // the incomplete one remains
    EXPECT_EQ(user.LSP_GATES.items[0]->GATE_ADDRESS.value, "x");
    EXPECT_THROW(load(user.LSP_GATES, hex("ff ff ff ff 00 00 00 00")), const char*);
    EXPECT_TRUE(user.LSP_GATES.items.empty());
}

TEST(TheGateways, HaveCellsOfTheirOwnForTheirEmptyTexts) {
    const LSP_GATE one, two;
    EXPECT_STREQ(one.GATE_ADDRESS.label, "");
    EXPECT_NE(&one.GATE_ADDRESS.label, &two.GATE_ADDRESS.label);
}

// ---- trackers

TEST(ATracker, IsMarkedWhileItIsTheCurrentOne) {
    traceChange(); // there is none
    TraceChanges_t outer;
    {
        TraceChanges_t inner;
        traceChange();
        EXPECT_TRUE(inner.changed);
    }
    traceChange(); // the former one does not become current again
    EXPECT_FALSE(outer.changed);
    TraceChanges_t later;
    traceChange();
    EXPECT_TRUE(later.changed);
    EXPECT_FALSE(outer.changed);
}

TEST(ATracker, ThatEndsLeavesNoCurrentOneAlsoWhenAnotherWasCurrent) {
    auto first = std::make_unique<TraceChanges_t>();
    const TraceChanges_t second;
    first.reset();
    traceChange();
    EXPECT_FALSE(second.changed);
}

// ---- against a service

class AGroup : public WithScriptedService {
protected:
    void answerRead(const std::string& reply) { service->on(Command::ReadGroup, Reaction::reply(reply)); }
    void acceptWrites() { service->on(Command::WriteGroup, Reaction::reply("")); }

    // The payloads of the write commands that arrived.
    std::vector<std::string> written() const {
        std::vector<std::string> payloads;
        for (const Received& request : service->requests()) {
            if (request.command == 0) payloads.push_back(request.payload);
        }
        return payloads;
    }
    Received last() const { return service->requests().back(); }

    TraceChanges_t changes;
    ADMIN admin;
    const std::string adminBody = hex("2c 01 00 00  02  01 00 00 00 'g'  00 00 00 00");
};

TEST_F(AGroup, IsReadWithItsNameOverTheCommonSession) {
    answerRead(adminBody);
    EXPECT_TRUE(admin.load());
    EXPECT_EQ(last().session, "Common");
    EXPECT_EQ(last().module, 13U);
    EXPECT_EQ(last().command, 1U);
    EXPECT_EQ(toHex(last().payload), toHex(hex("05 00 00 00 'ADMIN'")));
    EXPECT_EQ(admin.SESSION_EXPTIME.value, 300U);
    EXPECT_EQ(admin.SESSION_EXPTIME.defValue, 10U);
    EXPECT_EQ(admin.ADMIN_GROUP.value, "g");
}

TEST_F(AGroup, IsWrittenOnlyWhenItChanged) {
    answerRead(adminBody);
    acceptWrites();
    EXPECT_TRUE(admin.load());
    EXPECT_TRUE(admin.save());
    EXPECT_TRUE(written().empty());
    EXPECT_FALSE(changes.changed);
    admin.SESSION_EXPTIME.value = 60;
    EXPECT_TRUE(admin.save());
    EXPECT_TRUE(changes.changed);
    EXPECT_EQ(last().module, 13U);
    // The flag byte was 2 in the reply: it was read as false, and false is written back.
    EXPECT_THAT(written(),
                testing::ElementsAre(writeRequest("ADMIN", hex("3c 00 00 00  00  01 00 00 00 'g'  00 00 00 00"))));
    admin.SESSION_EXPTIME.value = 300;
    EXPECT_TRUE(admin.save());
    EXPECT_EQ(written().size(), 1U); // it equals what was loaded again
}

TEST_F(AGroup, IsAlwaysWrittenWhenItWasNeverLoadedOrLoadedTwice) {
    answerRead(adminBody);
    acceptWrites();
    EXPECT_TRUE(admin.save());
    EXPECT_EQ(written().size(), 1U);
    EXPECT_TRUE(admin.load());
    EXPECT_TRUE(admin.save());
    EXPECT_EQ(written().size(), 1U);
    EXPECT_TRUE(admin.load());
    EXPECT_TRUE(admin.save());
    EXPECT_TRUE(admin.save());
    EXPECT_EQ(written().size(), 3U);
}

TEST_F(AGroup, IgnoresWhatFollowsItsLastParameter) {
    answerRead(adminBody + "more");
    EXPECT_TRUE(admin.load());
    EXPECT_EQ(admin.SESSION_EXPTIME.value, 300U);
    EXPECT_EQ(admin.snapshot, writeRequest("ADMIN", hex("2c 01 00 00  00  01 00 00 00 'g'  00 00 00 00")));
}

TEST_F(AGroup, IsNotSavedWithoutASessionAlsoWhenItDidNotChange) {
    answerRead(adminBody);
    EXPECT_TRUE(admin.load());
    CommandSender::Instance().SetEndpoint("");
    SessionsPool::CloseSession(SessionParameters);
    EXPECT_FALSE(admin.save());
}

TEST_F(AGroup, IsMadePermanentWithoutAPayload) {
    service->on(Command::CommitGroups, Reaction::reply(""));
    EXPECT_TRUE(writeToDisk());
    EXPECT_EQ(last().module, 13U);
    EXPECT_EQ(last().command, 2U);
    EXPECT_EQ(last().payload, "");
    EXPECT_FALSE(changes.changed);
}

TEST_F(AGroup, KeepsItsValuesWhenItIsRefusedOrThereIsNoServiceOrSession) {
    for (const char* what : {"it is refused", "there is no service", "there is no session"}) {
        EXPECT_FALSE(admin.load()) << what;
        EXPECT_FALSE(admin.save()) << what;
        EXPECT_FALSE(writeToDisk()) << what;
        if (!service) CommandSender::Instance().SetEndpoint("");
        killService();
        closePooledSessions();
    }
    EXPECT_FALSE(changes.changed);
    EXPECT_EQ(admin.SESSION_EXPTIME.value, 10U);
    EXPECT_EQ(admin.snapshot, "");
}

TEST_F(AGroup, KeepsWhatWasReadBeforeAReplyThatEndsEarly) {
    answerRead(hex("2c 01 00 00  00  05 00 00 00 'g'"));
    try {
        admin.load();
        FAIL() << "nothing was thrown";
    } catch (const char* text) {
        EXPECT_STREQ(text, "CommandStreamError");
    }
    EXPECT_EQ(admin.SESSION_EXPTIME.value, 300U);
    EXPECT_FALSE(admin.LOGIN_ON_SAVE_TOKEN_PASSWORD.value);
    EXPECT_EQ(admin.ADMIN_GROUP.value, "admin");
    EXPECT_EQ(admin.snapshot, "");
}

} // namespace
