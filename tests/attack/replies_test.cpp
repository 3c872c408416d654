// SPDX-License-Identifier: MIT
//
// A service that sends mutated replies, remarks and frames to the controllers of the library: each call returns, or
// throws what it documents, and a sanitizer in this program has nothing to report.
#include "attack.h"
#include "samples.h"

#include <panelkit/certs/certs_controller.h>
#include <panelkit/lparams/sections/sections.h>
#include <panelkit/lsp/lsp_controller.h>
#include <panelkit/monitor/monitor_controller.h>
#include <panelkit/net/interf_controller.h>
#include <panelkit/tokens/tokens_controller.h>
#include <testing/scripted_service.h>

#include <functional>
#include <mutex>

using panelkit::Command;
using panelkit::testing::Reaction;
using panelkit::testing::ScriptedService;
using PKCS11::TokenInfo;

namespace {

// The mutations of one service. Its threads ask for reactions.
class Liar {
public:
    explicit Liar(ScriptedService& service) : replies_(attack::sampleReplies(attack::Sampler())) {
        for (const panelkit::CommandRow& row : panelkit::commandTable) {
            service.on(row.command, [this, command = row.command](const auto&) { return reactionTo(command); });
        }
    }

private:
    Reaction reactionTo(Command command) {
        const std::scoped_lock lock(mutex_);
        const std::string& honest = replies_[static_cast<std::size_t>(command)];
        const unsigned kind = (random_() >> 4U) % 40;
        if (kind == 0) return Reaction::cutInside(honest, static_cast<std::uint32_t>(honest.size() / 2));
        // A false size is waited for, and that command waits without a limit, because it may take a person at the
        // token.
        const bool waitsForEver = command == Command::MakeCertRequest;
        if (kind == 1 && !waitsForEver) return Reaction::raw(attack::mutated(attack::frame(4, 6, 0, honest), random_));
        Reaction reaction = Reaction::reply(attack::mutated(honest, random_));
        if (kind == 2) reaction = reaction.behind({10, attack::mutated(remarks_, random_)});
        if (kind == 3) reaction = Reaction::refuse(attack::mutated("no", random_)).behind({6, ""});
        return reaction;
    }

    const std::vector<std::string> replies_;
    const std::string remarks_ = encode(std::vector{bridge::Remark{1, Loc::makePhrase("the PIN is wrong (%s)", "x")}});
    std::mutex mutex_;
    std::minstd_rand random_{20261121};
};

// Calls of every controller.
std::vector<std::function<void()>> allCalls() {
    static VpnTokensController tokens;
    static LSPController policy;
    static InterfController net;
    static panelkit::MonitorController monitor;
    static const TokenInfo token{};
    std::vector<std::function<void()>> calls = {
        [] {
            std::vector<PKCS11::ProviderInfo> all;
            tokens.EnumProviders(all);
        },
        [] {
            std::vector<TokenInfo> all;
            tokens.EnumProviderTokens(nullptr, all);
        },
        [] {
            PinStateMessage why;
            tokens.TokenLogin(token, "1234", false, &why);
        },
        [] { tokens.TokenLogout(token); },
        [] { tokens.TokenInitialize(token, "a", "b", "c", false); },
        [] { tokens.TokenChangePassword(token, "1234", "5678", false, false); },
        [] {
            PKCS11::ProviderInfo info;
            tokens.ProviderLoad(info);
        },
        [] { tokens.ProviderUnload({}); },
        [] { tokens.ProviderLevelUp({}); },
        [] { tokens.ReloadAll(); },
        [] { tokens.InitTokenRNG(token, "seed"); },
        [] {
            std::string text;
            policy.cmdActivateCurrent(text, "p");
        },
        [] { policy.cmdActivateDDP("p"); },
        [] {
            std::string text;
            policy.cmdViewCurrent(text);
        },
        [] {
            LSPinfo_t info;
            LSPrequest_t wanted;
            policy.cmdGetPolicyInfo(info, wanted, nullptr, nullptr, true);
        },
        [] {
            LSPcmd::LSPsettings_t settings;
            policy.cmdGetSettings(&settings);
        },
        [] {
            bool applied = false;
            policy.cmdSetSettings({}, applied);
        },
        [] {
            bool applied = false;
            policy.cmdSetUserSettings("u", {}, applied);
        },
        [] {
            std::string user;
            policy.cmdIsOtherUserLoggedIn("u", user);
        },
        [] {
            std::vector<NetInterfaceInfo> all;
            net.getInterfaces(all);
        },
        [] {
            std::vector<panelkit::ProviderState> p;
            std::vector<panelkit::TokenState> t;
            monitor.GetStates(p, t);
        },
        [] {
            std::vector<panelkit::KeyInfo> k;
            std::vector<TokenInfo> t;
            monitor.EnumKeys(nullptr, k, t);
        },
        [] {
            std::string pem;
            monitor.GetPublicKey(token, {}, pem);
        },
        [] { monitor.DeleteKey(token, {}); },
        [] { monitor.DeleteCertificateWithKey(token, {}); },
        [] {
            std::vector<panelkit::TokenLabels> all;
            monitor.EnumCertLabels(nullptr, all);
        },
        [] {
            std::vector<panelkit::UncommittedValue> all;
            monitor.GetUncommitted(all);
        },
        [] {
            std::vector<panelkit::UncommittedValue> all;
            monitor.RevertSettings({"a"}, all);
        },
        [] { LPARAMS::Client::IKE().load(); },
        [] { LPARAMS::Client::POLICY().load(); },
        [] { LPARAMS::Client::LOG().load(); },
        [] { LPARAMS::Client::ADMIN().save(); },
        [] { LPARAMS::Client::writeToDisk(); },
    };
    using Certs = VpnCertsSilentController;
    const std::vector<std::function<void(Certs&)>> ofCertificates = {
        [](Certs& c) {
            std::vector<CertInfo> all;
            std::vector<TokenInfo> t;
            c.EnumCertificates(0, all, t);
        },
        [](Certs& c) {
            std::vector<CRLInfo> all;
            std::vector<TokenInfo> t;
            c.EnumCRLs(all, t);
        },
        [](Certs& c) {
            std::vector<PresharedKeyInfo> all;
            std::vector<TokenInfo> t;
            c.EnumPresharedKeys(all, t);
        },
        [](Certs& c) {
            std::vector<TokenInfo> t;
            c.GetTokensList(t);
        },
        [](Certs& c) { c.ReloadAll(false); },
        [](Certs& c) { c.ImportCertificate(token, 0, CertImportMode(), false, ""); },
        [](Certs& c) { c.ImportCRL(token, 0); },
        [](Certs& c) {
            std::string out;
            c.ExportCertificate(token, {}, CertExportFormat(), "", false, false, out);
        },
        [](Certs& c) {
            CertInfo info;
            CertExtentions more;
            std::string text;
            c.GetCertDetails(token, info, more, text);
        },
        [](Certs& c) {
            std::vector<TokenInfo> t;
            std::vector<CertInfo> all;
            c.GetCertChain(token, {}, t, all);
        },
        [](Certs& c) {
            std::string text;
            c.VerifyCert(token, {}, 0, &text);
        },
        [](Certs& c) {
            std::vector<CertRequestKeyInfo> all;
            c.GetCertRequestKeyInfo(token, all);
        },
        [](Certs& c) {
            std::string out;
            c.MakeCertRequest(token, {}, out);
        },
    };
    for (const auto& call : ofCertificates) {
        calls.push_back([call] {
            Certs controller;
            call(controller);
        }); // a session that was lost is not used again
    }
    return calls;
}

TEST(HostileReplies, AreReadOrRefused) {
    closePooledSessions();
    ScriptedService service;
    CommandSender::Instance().SetEndpoint(service.endpoint());
    CommandSender::Instance().SetWait(50); // for what a false size announces
    const Liar liar(service);
    const auto calls = allCalls();
    int ended = 0, early = 0;
    for (; ended < attack::times(47'000); ++ended) {
        try {
            calls[static_cast<std::size_t>(ended) % calls.size()]();
        } catch (const char* text) {
            ASSERT_STREQ(text, "CommandStreamError");
            ++early;
        }
    }
    closePooledSessions();
    attack::report("hostile replies", ended);
    attack::report("of these reported as ended early", early);
    EXPECT_EQ(static_cast<int>(service.requests().size()) >= ended * 9 / 10, true);
}

} // namespace
