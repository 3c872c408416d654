// SPDX-License-Identifier: MIT
//
// A service that sends mutated replies, remarks and frames to the controllers of the library: each call returns, or
// throws what it documents, and a sanitizer in this program has nothing to report.
#include <bench/attack/attack.h>
#include <bench/attack/samples.h>

#include <panelkit/certs/certs_controller.h>
#include <panelkit/lparams/sections/sections.h>
#include <panelkit/lsp/lsp_controller.h>
#include <panelkit/monitor/monitor_controller.h>
#include <panelkit/net/interf_controller.h>
#include <panelkit/tokens/tokens_controller.h>
#include <testing/scripted_service.h>

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

// What the calls fill; each call has its own.
struct Filled {
    std::vector<PKCS11::ProviderInfo> providers;
    std::vector<TokenInfo> tokens;
    std::vector<CertInfo> certificates;
    std::vector<CRLInfo> crls;
    std::vector<PresharedKeyInfo> presharedKeys;
    std::vector<CertRequestKeyInfo> choices;
    std::vector<NetInterfaceInfo> interfaces;
    std::vector<panelkit::ProviderState> providerStates;
    std::vector<panelkit::TokenState> tokenStates;
    std::vector<panelkit::KeyInfo> keys;
    std::vector<panelkit::TokenLabels> labels;
    std::vector<panelkit::UncommittedValue> values;
    PKCS11::ProviderInfo provider;
    PinStateMessage why;
    CertInfo certificate;
    CertExtentions details;
    LSPcmd::LSPsettings_t settings;
    LSPinfo_t info;
    LSPrequest_t required;
    std::string text;
    bool applied = false;
};

// Calls of every controller. One of certificates is made for each call, since a session that was lost is not used
// again.
std::vector<std::function<void()>> allCalls() {
    using Certs = VpnCertsSilentController;
    static VpnTokensController tokens;
    static LSPController policy;
    static InterfController net;
    static panelkit::MonitorController monitor;
    static const TokenInfo token{};
    // clang-format off
    return {
        [](Filled f = {}) { tokens.EnumProviders(f.providers); },
        [](Filled f = {}) { tokens.EnumProviderTokens(nullptr, f.tokens); },
        [](Filled f = {}) { tokens.TokenLogin(token, "1234", false, &f.why); },
        [] { tokens.TokenLogout(token); },
        [] { tokens.TokenInitialize(token, "a", "b", "c", false); },
        [] { tokens.TokenChangePassword(token, "1234", "5678", false, false); },
        [](Filled f = {}) { tokens.ProviderLoad(f.provider); },
        [] { tokens.ProviderUnload({}); },
        [] { tokens.ProviderLevelUp({}); },
        [] { tokens.ReloadAll(); },
        [] { tokens.InitTokenRNG(token, "seed"); },
        [](Filled f = {}) { policy.cmdActivateCurrent(f.text, "p"); },
        [] { policy.cmdActivateDDP("p"); },
        [](Filled f = {}) { policy.cmdViewCurrent(f.text); },
        [](Filled f = {}) { policy.cmdGetPolicyInfo(f.info, f.required, nullptr, nullptr, true); },
        [](Filled f = {}) { policy.cmdGetSettings(&f.settings); },
        [](Filled f = {}) { policy.cmdSetSettings({}, f.applied); },
        [](Filled f = {}) { policy.cmdSetUserSettings("u", {}, f.applied); },
        [](Filled f = {}) { policy.cmdIsOtherUserLoggedIn("u", f.text); },
        [](Filled f = {}) { net.getInterfaces(f.interfaces); },
        [](Filled f = {}) { monitor.GetStates(f.providerStates, f.tokenStates); },
        [](Filled f = {}) { monitor.EnumKeys(nullptr, f.keys, f.tokens); },
        [](Filled f = {}) { monitor.GetPublicKey(token, {}, f.text); },
        [] { monitor.DeleteKey(token, {}); },
        [] { monitor.DeleteCertificateWithKey(token, {}); },
        [](Filled f = {}) { monitor.EnumCertLabels(nullptr, f.labels); },
        [](Filled f = {}) { monitor.GetUncommitted(f.values); },
        [](Filled f = {}) { monitor.RevertSettings({"a"}, f.values); },
        [] { LPARAMS::Client::IKE().load(); },
        [] { LPARAMS::Client::POLICY().load(); },
        [] { LPARAMS::Client::LOG().load(); },
        [] { LPARAMS::Client::ADMIN().save(); },
        [] { LPARAMS::Client::writeToDisk(); },
        [](Certs c = {}, Filled f = {}) { c.EnumCertificates(0, f.certificates, f.tokens); },
        [](Certs c = {}, Filled f = {}) { c.EnumCRLs(f.crls, f.tokens); },
        [](Certs c = {}, Filled f = {}) { c.EnumPresharedKeys(f.presharedKeys, f.tokens); },
        [](Certs c = {}, Filled f = {}) { c.GetTokensList(f.tokens); },
        [](Certs c = {}) { c.ReloadAll(false); },
        [](Certs c = {}) { c.ImportCertificate(token, 0, CertImportMode(), false, ""); },
        [](Certs c = {}) { c.ImportCRL(token, 0); },
        [](Certs c = {}, Filled f = {}) { c.ExportCertificate(token, {}, CertExportFormat(), "", false, false, f.text); },
        [](Certs c = {}, Filled f = {}) { c.GetCertDetails(token, f.certificate, f.details, f.text); },
        [](Certs c = {}, Filled f = {}) { c.GetCertChain(token, {}, f.tokens, f.certificates); },
        [](Certs c = {}, Filled f = {}) { c.VerifyCert(token, {}, 0, &f.text); },
        [](Certs c = {}, Filled f = {}) { c.GetCertRequestKeyInfo(token, f.choices); },
        [](Certs c = {}, Filled f = {}) { c.MakeCertRequest(token, {}, f.text); },
    };
    // clang-format on
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
