// SPDX-License-Identifier: MIT
//
// The session of a certificate controller: taken, shared, given back, broken, and its wait setting.
#include "certs_fixture.h"

#include <type_traits>

using std::chrono::milliseconds;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace {

static_assert(std::is_base_of_v<SendCommandProgress::IdleLoop, VpnCertsController>);
static_assert(std::is_base_of_v<VpnCertsController, VpnCertsCLIController>);
static_assert(std::is_base_of_v<VpnCertsController, VpnCertsSilentController>);
static_assert(std::is_copy_constructible_v<VpnCertsCLIController> && std::is_move_assignable_v<VpnCertsCLIController>);
static_assert(sizeof(VpnCertsSilentController) == 2 * sizeof(void*), "one field besides the virtual table");

class ACertsSession : public WithScriptedService {
protected:
    ACertsSession() {
        service->on(Command::CertsReloadAll, Reaction::reply(""));
        service->on(Command::MakeCertRequest, Reaction::reply(hex("00 00 00 00  00 00 00 00")));
    }

    // The session that the next controller will hold.
    static BridgeSession* pooled() { return SessionsPool::GetSession(SessionCertificates); }
};

TEST_F(ACertsSession, IsTheControllersAloneAndGoesBackWithIt) {
    BridgeSession* const session = pooled();
    {
        VpnCertsController controller;
        EXPECT_TRUE(controller.ReloadAll(false));
        EXPECT_NE(pooled(), session) << "another one is opened for others meanwhile";
        SessionsPool::CloseSession(SessionCertificates);
    }
    EXPECT_EQ(pooled(), session);
    VpnCertsSilentController next;
    EXPECT_TRUE(next.ReloadAll(false));
    EXPECT_THAT(service->opened(), ElementsAre("Certificates"));
}

TEST_F(ACertsSession, IsSharedByCopiesAndHandedBackByEach) {
    BridgeSession* const session = pooled();
    {
        VpnCertsCLIController original;
        {
            VpnCertsCLIController copy(original);
            EXPECT_TRUE(copy.ReloadAll(false));
        }
        EXPECT_EQ(pooled(), session);
        EXPECT_TRUE(original.ReloadAll(false)) << "the copy's end left the session usable";
        VpnCertsCLIController moved(std::move(original));
        EXPECT_TRUE(moved.ReloadAll(false));
        EXPECT_TRUE(original.ReloadAll(false)) << "moving copies"; // NOLINT(bugprone-use-after-move)
    }
    EXPECT_NE(session->broken(), 0U) << "handing it back a second time closed it";
    VpnCertsController next;
    EXPECT_TRUE(next.ReloadAll(false));
}

TEST_F(ACertsSession, IsDroppedByAnAssignment) {
    VpnCertsController one;
    VpnCertsController two;
    two = one;
    EXPECT_TRUE(two.ReloadAll(false));
    EXPECT_THAT(service->opened(), ElementsAre("Certificates"));
}

TEST_F(ACertsSession, ThatBrokeStaysDeadAndANewControllerWorks) {
    VpnCertsController controller;
    EXPECT_TRUE(controller.ReloadAll(false));
    killService();
    EXPECT_FALSE(controller.ReloadAll(false));
    restartService();
    service->on(Command::CertsReloadAll, Reaction::reply(""));
    EXPECT_FALSE(controller.ReloadAll(false));
    EXPECT_TRUE(VpnCertsController().ReloadAll(false));
    EXPECT_FALSE(controller.ReloadAll(false));
}

// ---- its wait setting while a request is made

// Reads the session's state while the service works.
class Watcher : public VpnCertsController {
public:
    void OnExecuteCommand(const SendCommandProgress& progress) override {
        waitMeanwhile = progress.session->waitSetting();
        if (throws) throw std::runtime_error("from the hook");
    }
    std::uint32_t waitMeanwhile = 1;
    bool throws = false;
};

TEST_F(ACertsSession, WaitsWithoutLimitForARequestAndIsRestoredOnEveryPath) {
    BridgeSession* const session = pooled();
    session->setWaitSetting(12'345);
    Watcher controller;
    std::string request = "kept";
    const auto make = [&](const Reaction& reaction) {
        EXPECT_EQ(session->waitSetting(), 12'345U) << "what the one before left";
        service->on(Command::MakeCertRequest, reaction.after(milliseconds(150)));
        return controller.MakeCertRequest(token, wanted, request);
    };
    EXPECT_EQ(make(Reaction::refuse()), MakeCertRequestResult::notCarriedOut);
    EXPECT_EQ(controller.waitMeanwhile, 0U);
    EXPECT_EQ(request, "kept");
    EXPECT_THROW(make(Reaction::reply("short")), const char*);
    EXPECT_EQ(make(Reaction::reply(hex("02 00 00 00  02 00 00 00 'ok'"))), MakeCertRequestResult{2});
    EXPECT_EQ(request, "ok");
    controller.throws = true;
    EXPECT_THROW(make(Reaction::refuse()), std::runtime_error);
    controller.throws = false;
    EXPECT_EQ(make(Reaction::cutBefore()), MakeCertRequestResult::notCarriedOut);
    EXPECT_EQ(session->waitSetting(), 12'345U);
}

TEST_F(ACertsSession, BearsALongSilenceForARequestAndForNothingElse) {
    pooled()->setWaitSetting(100);
    VpnCertsController controller;
    std::string request;
    service->on(Command::MakeCertRequest, Reaction::reply(hex("00 00 00 00  00 00 00 00")).after(milliseconds(400)));
    EXPECT_EQ(controller.MakeCertRequest(token, wanted, request), MakeCertRequestResult{0});
    service->on(Command::CertsReloadAll, Reaction::reply("").after(milliseconds(400)));
    EXPECT_FALSE(controller.ReloadAll(false));
    EXPECT_EQ(bridge::lastFailure().code, bridge::FailureCode::timedOut);
}

// ---- without a session, or without a service

class FailingOperations : public WithCertsController {
protected:
    FailingOperations() {
        tokens.resize(2);
        certificates.resize(2);
        crls.resize(2);
        keys.resize(2);
        choices.resize(2);
        chain.resize(2);
        read = details;
        text = pem = verdict = "kept";
    }
    void expectOutputsKept() {
        EXPECT_TRUE(tokens.size() == 2 && certificates.size() == 2 && crls.size() == 2 && keys.size() == 2);
        EXPECT_EQ(choices.size(), 2U);
        EXPECT_EQ(record, certificate);
        EXPECT_EQ(read, details);
        EXPECT_EQ(text + pem + verdict, "keptkeptkept");
        EXPECT_TRUE(chain.empty()) << "a chain that fails is empty";
    }
    static void expectResults(VpnCertsController& controller) {
        std::string kept;
        EXPECT_EQ(controller.ImportCertificate(token, 0, {}, false, ""), ImportCertResult{3});
        EXPECT_EQ(controller.ImportCRL(token, 0), ImportCRLResult{2});
        EXPECT_EQ(controller.ExportCertificate(token, certificate, {}, "", false, false, kept), ExportCertResult{3});
        EXPECT_EQ(controller.MakeCertRequest(token, wanted, kept), MakeCertRequestResult{4});
    }
};

TEST_F(FailingOperations, LeaveTheirOutputsAlone) {
    expectFailures(operations);
    expectResults(controller);
    expectOutputsKept();
    killService();
    for (const Operation& row : operations) EXPECT_FALSE(row.run()) << "without a service";
    expectOutputsKept();
    CommandSender::Instance().SetEndpoint("");
    closePooledSessions();
    VpnCertsController withoutSession;
    EXPECT_FALSE(withoutSession.EnumCertificates(0, certificates, tokens));
    EXPECT_FALSE(withoutSession.ReloadAll(true));
    EXPECT_FALSE(withoutSession.GetCertChain(token, certificate, tokensOfChain, chain));
    expectResults(withoutSession);
}

// ---- output of the variants

TEST_F(ACertsSession, DrawsDotsForALongCommandAndNoneForAShortOne) {
    VpnCertsCLIController console;
    std::string drawn = "not tried";
    for (int i = 0; i < 10 && !drawn.empty(); ++i) { // on a busy machine even a short one may take long
        CaptureStdout();
        EXPECT_TRUE(console.ReloadAll(false));
        drawn = GetCapturedStdout();
    }
    EXPECT_EQ(drawn, "");
    service->on(Command::CertsReloadAll, Reaction::reply("").after(milliseconds(300)));
    CaptureStdout();
    EXPECT_TRUE(console.ReloadAll(false));
    EXPECT_EQ(GetCapturedStdout(), "\n.\n");
    CaptureStdout();
    EXPECT_TRUE(VpnCertsController().ReloadAll(false));
    EXPECT_TRUE(VpnCertsSilentController().ReloadAll(false));
    EXPECT_EQ(GetCapturedStdout(), "");
}

} // namespace
