// SPDX-License-Identifier: MIT
#include <panelkit/monitor/monitor_controller.h>

#include "../../support/operations.h"

#include <type_traits>

using panelkit::EngineInfo;
using panelkit::KeyInfo;
using panelkit::MonitorController;
using panelkit::PolicyContent;
using panelkit::ProviderCondition;
using panelkit::ProviderState;
using panelkit::TokenCondition;
using panelkit::TokenLabels;
using panelkit::TokenState;
using panelkit::TunnelAction;
using panelkit::TunnelCondition;
using panelkit::TunnelInfo;
using panelkit::UncommittedValue;
using PKCS11::TokenInfo;

namespace {

// Each record once, with its bytes.
const KeyInfo key{"gate", "0A", 3, 256, "F1", true, false, true, false, true, {"C1", "C2"}};
const char* const keyBytes = "04 00 00 00 'gate'  02 00 00 00 '0A'  03 00 00 00  00 01 00 00  02 00 00 00 'F1' "
                             "01 00 01 00 01  02 00 00 00  02 00 00 00 'C1'  02 00 00 00 'C2'";
const ProviderState hung{"N", "/m.so", ProviderCondition::notAnswering, {{26, "at work: %s", {"x"}}}};
const char* const hungBytes = "01 00 00 00 'N'  05 00 00 00 '/m.so'  03 00 00 00  01 00 00 00  1a 00 00 00 "
                              "0b 00 00 00 'at work: %s'  01 00 00 00  01 00 00 00 'x'";
const TokenState pulled{token, TokenCondition::removed};
const TokenLabels labels{token, {{"F1", "gate", "0A"}, {"F2", "", ""}}};
const char* const labelBytes = "02 00 00 00  02 00 00 00 'F1'  04 00 00 00 'gate'  02 00 00 00 '0A' "
                               "02 00 00 00 'F2'  00 00 00 00  00 00 00 00";
const UncommittedValue port{"PROXY", "P", false, {"\0\0", 2}, {"\x90\x1f", 2}};
const char* const portBytes = "05 00 00 00 'PROXY'  01 00 00 00 'P'  00  02 00 00 00 00 00  02 00 00 00 90 1f";

const EngineInfo recorder{"record", false, true, {{65, "%s", {"x"}}}};
const TunnelInfo office{
    "hq", "any",           "g", TunnelCondition::turnedOff, 258, "192.0.2.1", "CN=a", "CN=g", "AES", 1 << 16, 2,
    3,    {{65, "no", {}}}};
const char* const officeBytes =
    "02 00 00 00 'hq'  03 00 00 00 'any'  01 00 00 00 'g'  03 00 00 00  02 01 00 00 00 00 00 00 "
    "09 00 00 00 '192.0.2.1'  04 00 00 00 'CN=a'  04 00 00 00 'CN=g'  03 00 00 00 'AES' "
    "00 00 01 00 00 00 00 00  02 00 00 00 00 00 00 00  03 00 00 00 00 00 00 00 "
    "01 00 00 00  41 00 00 00  02 00 00 00 'no'  00 00 00 00";

const char* const one = "01 00 00 00";

class AMonitorController : public WithOperations {
protected:
    MonitorController controller;
    std::vector<ProviderState> providers;
    std::vector<TokenState> states;
    std::vector<KeyInfo> keys;
    std::vector<TokenInfo> tokens;
    std::vector<TokenLabels> labelled;
    std::vector<UncommittedValue> values;
    KeyInfo made;
    std::string pem;
    PolicyContent checked;
    EngineInfo engine;
    std::vector<TunnelInfo> tunnels;
    MakeCertRequestResult signing{};
    const PolicyContent policy{"T", "1", "D", {{"n", 7, "drop", "any", "tcp", "1", "g", "a", "s", "k"}}};
    const CertRequestInfo wish{.commonName = "gate"};
    const CertInfo certificate{.fingerprint = "F1"};

    // clang-format off
    const Operations operations{
        {Command::GetStates,         "", joined({one, hungBytes, one, tokenBytes, "03 00 00 00"}),
         [this] { return controller.GetStates(providers, states); }},
        {Command::EnumKeys,         "", joined({one, tokenBytes, keyBytes}),
         [this] { return controller.EnumKeys(nullptr, keys, tokens); }},
        {Command::EnumKeys,         joined({tokenBytes}), joined({one, tokenBytes, keyBytes}),
         [this] { return controller.EnumKeys(&token, keys, tokens); }},
        {Command::GetPublicKey,     joined({tokenBytes, keyBytes}), joined({"03 00 00 00 'PEM'"}),
         [this] { return controller.GetPublicKey(token, key, pem); }},
        {Command::GenerateKey,      joined({tokenBytes, "03 00 00 00  00 01 00 00  04 00 00 00 'gate'"}), joined({keyBytes}),
         [this] { return controller.GenerateKey(token, 3, 256, "gate", made); }},
        {Command::DeleteKey,        joined({tokenBytes, keyBytes}), "",
         [this] { return controller.DeleteKey(token, key); }},
        {Command::DeleteCertAndKey, joined({tokenBytes}) + encoded(certificate), "",
         [this] { return controller.DeleteCertificateWithKey(token, certificate); }},
        {Command::EnumCertLabels,   "", joined({one, tokenBytes, labelBytes}),
         [this] { return controller.EnumCertLabels(nullptr, labelled); }},
        {Command::EnumCertLabels,   joined({tokenBytes}), joined({one, tokenBytes, labelBytes}),
         [this] { return controller.EnumCertLabels(&token, labelled); }},
        {Command::GetUncommitted,   "", joined({one, portBytes}),
         [this] { return controller.GetUncommitted(values); }},
        {Command::RevertSettings,   joined({one, "03 00 00 00 'LOG'"}), joined({one, portBytes}),
         [this] { return controller.RevertSettings({"LOG"}, values); }},
        {Command::CheckPolicy,      joined({"03 00 00 00 'abc'"}), encoded(policy),
         [this] { return controller.CheckPolicy("abc", checked); }},
        {Command::MakeCertRequestWithPin, joined({tokenBytes}) + encoded(wish) + joined({"03 00 00 00 'pin'"}),
         joined({"00 00 00 00", "03 00 00 00 'PEM'"}),
         [this] { return controller.MakeCertRequestWithPin(token, wish, "pin", signing, pem); }},
        {Command::GetEngine,        "",
         joined({"06 00 00 00 'record'  00 01", one, "41 00 00 00  02 00 00 00 '%s'  01 00 00 00  01 00 00 00 'x'"}),
         [this] { return controller.GetEngine(engine); }},
        {Command::GetTunnels,       "", joined({one, officeBytes}),
         [this] { return controller.GetTunnels(tunnels); }},
        {Command::ActOnTunnel,      joined({"02 00 00 00 'hq'  02 00 00 00"}), "",
         [this] { return controller.ActOnTunnel("hq", TunnelAction::rekey); }},
    };
    // clang-format on
};

TEST_F(AMonitorController, SendsEachRequestByteForByteAndReadsItsReply) {
    keys.resize(3);
    tokens.resize(2);
    expectRequests(operations, "Monitor");
    EXPECT_EQ(service->opened().size(), 1U);
    EXPECT_THAT(providers, ElementsAre(hung));
    EXPECT_THAT(states, ElementsAre(pulled));
    EXPECT_THAT(keys, ElementsAre(key));
    EXPECT_THAT(tokens, ElementsAre(token));
    EXPECT_EQ(pem, "PEM");
    EXPECT_EQ(made, key);
    EXPECT_THAT(labelled, ElementsAre(labels));
    EXPECT_THAT(values, ElementsAre(port));
    EXPECT_EQ(engine, recorder);
    EXPECT_THAT(tunnels, ElementsAre(office));
    EXPECT_EQ(checked, policy);
}

TEST_F(AMonitorController, ThrowsOnEveryReplyThatEndsEarly) {
    expectThrowAtEveryCut(operations);
    answer(Command::EnumKeys, encoded(std::uint32_t{0x00FFFFFF}) + std::string(0x00FFFFFF, '\0'));
    keys.clear();
    EXPECT_TRUE(throwsStreamError([&] { controller.EnumKeys(nullptr, keys, tokens); }));
    EXPECT_THAT(keys, IsEmpty()) << "a count that can't be true allocates nothing";
}

TEST_F(AMonitorController, LeavesItsOutputsAloneWhenItFails) {
    pem = "kept";
    keys.resize(3);
    expectFailures(operations);
    EXPECT_EQ(pem, "kept");
    EXPECT_EQ(keys.size(), 3U);
    closePooledSessions();
    CommandSender::Instance().SetEndpoint("");
    for (const Operation& row : operations) EXPECT_FALSE(row.run()) << "without a session";
}

// Making a key may take longer than the limit for silence.
TEST_F(AMonitorController, WaitsForANewKeyWithoutALimit) {
    CommandSender::Instance().SetWait(100);
    service->on(Command::GenerateKey, Reaction::reply(joined({keyBytes})).after(400ms));
    EXPECT_TRUE(controller.GenerateKey(token, 3, 256, "gate", made)) << bridge::lastFailure().text();
    service->on(Command::DeleteKey, Reaction::reply("").after(400ms));
    EXPECT_FALSE(controller.DeleteKey(token, key)) << "only for that one command";
}

// ---- what was not seen

TEST_F(AMonitorController, TellsWhatTheLastListingDidNotSee) {
    const auto reply = Reaction::reply(joined({one, tokenBytes, keyBytes}));
    service->on(Command::EnumKeys, reply);
    ASSERT_TRUE(controller.EnumKeys(nullptr, keys, tokens));
    EXPECT_THAT(panelkit::lastUnseen(), IsEmpty());

    // Remarks that come first are about something else.
    service->on(Command::EnumKeys, reply.remarking(31, Loc::makePhrase("full"))
                                       .remarking(16, Loc::makePhrase("no token \"%s\"", std::string("A")))
                                       .remarking(25, Loc::makePhrase("it crashed"))
                                       .remarking(16, Loc::makePhrase("no provider")));
    ASSERT_TRUE(controller.EnumKeys(nullptr, keys, tokens));
    const std::vector<panelkit::Unseen> unseen = panelkit::lastUnseen();
    ASSERT_EQ(unseen.size(), 2U);
    EXPECT_EQ(unseen[0].text(), "no token \"A\": it crashed");
    EXPECT_EQ(unseen[1].text(), "no provider");

    service->on(Command::GetUncommitted, Reaction::reply(joined({one, portBytes})));
    ASSERT_TRUE(controller.GetUncommitted(values));
    EXPECT_THAT(panelkit::lastUnseen(), IsEmpty()) << "that is about the last command alone";
}

TEST(MonitorControllers, AreIdleLoopsThatCopyFreely) {
    static_assert(std::is_base_of_v<SendCommandProgress::IdleLoop, MonitorController>);
    static_assert(std::is_copy_assignable_v<MonitorController> && std::is_move_constructible_v<MonitorController>);
    static_assert(sizeof(MonitorController) == sizeof(void*), "nothing besides the virtual table");
}

} // namespace
