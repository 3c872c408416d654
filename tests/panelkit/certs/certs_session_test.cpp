// SPDX-License-Identifier: MIT
//
// The session of a certificate controller: taken, shared, given back, broken, and its wait setting.
#include "certs_fixture.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <stdexcept>
#include <thread>
#include <type_traits>

using panelkit::Command;
using panelkit::testing::Reaction;
using std::chrono::milliseconds;
using testing::ElementsAre;
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
        service->on(Command::MakeCertRequest, reaction.after(milliseconds(150)));
        return controller.MakeCertRequest(token, wanted, request);
    };
    EXPECT_EQ(make(Reaction::refuse()), MakeCertRequestResult::notCarriedOut);
    EXPECT_EQ(controller.waitMeanwhile, 0U);
    EXPECT_EQ(session->waitSetting(), 12'345U);
    EXPECT_EQ(request, "kept");

    EXPECT_THROW(make(Reaction::reply("short")), const char*);
    EXPECT_EQ(session->waitSetting(), 12'345U);

    EXPECT_EQ(make(Reaction::reply(hex("02 00 00 00  02 00 00 00 'ok'"))), MakeCertRequestResult{2});
    EXPECT_EQ(request, "ok");
    EXPECT_EQ(session->waitSetting(), 12'345U);

    controller.throws = true;
    EXPECT_THROW(make(Reaction::refuse()), std::runtime_error);
    EXPECT_EQ(session->waitSetting(), 12'345U);

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

// Every operation waits with the hook, over the session that the controller took.
TEST_F(ACertsSession, IsUsedByEveryOperationWithItsHook) {
    class Hooked : public VpnCertsController {
    public:
        void OnExecuteCommand(const SendCommandProgress& progress) override { seen = progress.session; }
        std::atomic<BridgeSession*> seen = nullptr;
    };
    BridgeSession* const session = pooled();
    Hooked controller;
    std::vector<PKCS11::TokenInfo> tokens;
    std::vector<CertInfo> certificates;
    std::vector<CRLInfo> crls;
    std::vector<PresharedKeyInfo> keys;
    CertExtentions read;
    CertInfo record;
    std::string text;
    const std::pair<Command, std::function<void()>> operations[] = {
        {Command::EnumCertificates, [&] { controller.EnumCertificates(0, certificates, tokens); }},
        {Command::EnumCRLs, [&] { controller.EnumCRLs(crls, tokens); }},
        {Command::EnumPresharedKeys, [&] { controller.EnumPresharedKeys(keys, tokens); }},
        {Command::EnumProviderTokens, [&] { controller.GetTokensList(tokens); }},
        {Command::ImportCertificate, [&] { controller.ImportCertificate(token, 0, {}, false, ""); }},
        {Command::GetCertDetails, [&] { controller.GetCertDetails(token, record, read, text); }},
        {Command::GetCertChain, [&] { controller.GetCertChain(token, certificate, tokens, certificates); }},
        {Command::VerifyCert, [&] { controller.VerifyCert(token, certificate, 0, &text); }},
        {Command::DeleteCertificate, [&] { controller.DeleteCertificate(token, certificate); }},
    };
    for (const auto& [command, operation] : operations) {
        controller.seen = nullptr;
        service->on(command, [&](const auto&) { // answered when the hook was called
            for (int i = 0; i < 200 && !controller.seen; ++i) std::this_thread::sleep_for(milliseconds(5));
            return Reaction::refuse();
        });
        operation();
        EXPECT_EQ(controller.seen, session) << service->requests().back().command;
    }
}

// ---- without a session, or without a service

void expectEveryOperationFails(VpnCertsController& controller) {
    std::vector<PKCS11::TokenInfo> tokens(2);
    std::vector<CertInfo> certificates(2);
    std::vector<CRLInfo> crls(2);
    std::vector<PresharedKeyInfo> keys(2);
    std::vector<CertRequestKeyInfo> choices(2);
    CertInfo record = certificate;
    CertExtentions read = details;
    std::string text = "kept";
    EXPECT_FALSE(controller.EnumCertificates(0, certificates, tokens));
    EXPECT_FALSE(controller.EnumCRLs(crls, tokens));
    EXPECT_FALSE(controller.EnumPresharedKeys(keys, tokens));
    EXPECT_FALSE(controller.GetTokensList(tokens));
    EXPECT_FALSE(controller.ReloadAll(true));
    EXPECT_EQ(controller.ImportCertificate(token, 0, {}, false, ""), ImportCertResult{3});
    EXPECT_EQ(controller.ImportCRL(token, 0), ImportCRLResult{2});
    EXPECT_EQ(controller.ExportCertificate(token, record, {}, "", false, false, text), ExportCertResult{3});
    EXPECT_FALSE(controller.GetCertDetails(token, record, read, text));
    EXPECT_FALSE(controller.VerifyCert(token, record, 0, &text));
    EXPECT_FALSE(controller.CreatePresharedKey(token, "", ""));
    EXPECT_FALSE(controller.DeletePresharedKey(token, {}));
    EXPECT_FALSE(controller.DeleteCertificate(token, record));
    EXPECT_FALSE(controller.DeleteCRL(token, crl));
    EXPECT_FALSE(controller.GetCertRequestKeyInfo(token, choices));
    EXPECT_EQ(controller.MakeCertRequest(token, wanted, text), MakeCertRequestResult{4});
    EXPECT_TRUE(tokens.size() == 2 && certificates.size() == 2 && crls.size() == 2 && keys.size() == 2);
    EXPECT_EQ(choices.size(), 2U);
    EXPECT_EQ(record, certificate);
    EXPECT_EQ(read, details);
    EXPECT_EQ(text, "kept");
    EXPECT_FALSE(controller.GetCertChain(token, record, tokens, certificates));
    EXPECT_TRUE(tokens.empty() && certificates.empty()) << "a chain that fails is empty";
}

TEST_F(WithoutService, CertificateOperationsFailAndLeaveTheirOutputsAlone) {
    VpnCertsController controller;
    expectEveryOperationFails(controller);
    EXPECT_EQ(bridge::lastFailure().code, bridge::FailureCode::noService);

    CommandSender::Instance().SetEndpoint("");
    closePooledSessions();
    VpnCertsController withoutSession;
    expectEveryOperationFails(withoutSession);
}

TEST_F(ACertsSession, FailsOperationsThatTheServiceRefuses) {
    VpnCertsController controller;
    service->on(Command::MakeCertRequest, Reaction::refuse()); // like all others
    service->on(Command::CertsReloadAll, Reaction::refuse());
    expectEveryOperationFails(controller);
}

// ---- output of the variants

// Returns the output of a controller while a command runs for that time.
std::string drawn(VpnCertsController& controller, milliseconds time) {
    SendCommandProgress progress(nullptr, ModuleCertificates, 0, &controller);
    progress.running = true;
    std::thread ending([&] {
        std::this_thread::sleep_for(time);
        progress.running = false;
    });
    CaptureStdout();
    do controller.OnExecuteCommand(progress);
    while (progress.running);
    std::string text = GetCapturedStdout();
    ending.join();
    return text;
}

TEST_F(ACertsSession, IsWaitedForWithDotsOnTheConsoleOnly) {
    VpnCertsCLIController console;
    EXPECT_EQ(drawn(console, milliseconds(1500)), "\n..\n");
    VpnCertsSilentController silent;
    EXPECT_EQ(drawn(silent, milliseconds(50)), "");
    VpnCertsController plain;
    EXPECT_EQ(drawn(plain, milliseconds(50)), "");
}

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
}

} // namespace
