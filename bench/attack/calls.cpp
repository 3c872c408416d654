// SPDX-License-Identifier: MIT
#include <bench/attack/calls.h>

#include <panelkit/certs/cert_imports.h>
#include <panelkit/certs/certs_controller.h>
#include <panelkit/lparams/sections/sections.h>
#include <panelkit/lsp/lsp_controller.h>
#include <panelkit/monitor/monitor_controller.h>
#include <panelkit/net/interf_controller.h>
#include <panelkit/tokens/tokens_controller.h>

namespace attack {

using panelkit::Command;
using PKCS11::TokenInfo;

namespace {

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
    LSPrequest_t::InfoType state{};
    std::vector<ImportCertResult> results;
    std::vector<panelkit::TunnelInfo> tunnels;
    panelkit::EngineInfo engine;
    panelkit::PolicyContent content;
    panelkit::KeyInfo key;
    MakeCertRequestResult request{};
    std::string text;
    bool applied = false;
};

} // namespace

std::vector<ControllerCall> allCalls() {
    using Certs = VpnCertsSilentController;
    static VpnTokensController tokens;
    static LSPController policy;
    static InterfController net;
    static panelkit::MonitorController monitor;
    static const TokenInfo token{};
    // clang-format off
    return {
        {Command::EnumProviders, [](Filled f = {}) { tokens.EnumProviders(f.providers); }},
        {Command::EnumProviderTokens, [](Filled f = {}) { tokens.EnumProviderTokens(nullptr, f.tokens); }},
        {Command::TokenLogin, [](Filled f = {}) { tokens.TokenLogin(token, "1234", false, &f.why); }},
        {Command::TokenLogout, [] { tokens.TokenLogout(token); }},
        {Command::TokenInitialize, [] { tokens.TokenInitialize(token, "a", "b", "c", false); }},
        {Command::TokenChangePassword, [] { tokens.TokenChangePassword(token, "1234", "5678", false, false); }},
        {Command::ProviderLoad, [](Filled f = {}) { tokens.ProviderLoad(f.provider); }},
        {Command::ProviderUnload, [] { tokens.ProviderUnload({}); }},
        {Command::ProviderLevelUp, [] { tokens.ProviderLevelUp({}); }},
        {Command::TokensReloadAll, [] { tokens.ReloadAll(); }},
        {Command::InitTokenRNG, [] { tokens.InitTokenRNG(token, "seed"); }},
        {Command::ActivateCurrent, [](Filled f = {}) { policy.cmdActivateCurrent(f.text, "p"); }},
        {Command::ActivateDDP, [] { policy.cmdActivateDDP("p"); }},
        {Command::ViewCurrent, [](Filled f = {}) { policy.cmdViewCurrent(f.text); }},
        {Command::GetPolicyInfo, [](Filled f = {}) { policy.cmdGetPolicyInfo(f.info, f.required, &f.text, &f.state, true); }},
        {Command::GetPolicyInfo, [](Filled f = {}) { policy.cmdGetPolicyInfo(f.info, f.required, &f.text, &f.state, false); }},
        {Command::GetSettings, [](Filled f = {}) { policy.cmdGetSettings(&f.settings); }},
        {Command::SetSettings, [](Filled f = {}) { policy.cmdSetSettings({}, f.applied); }},
        {Command::SetUserSettings, [](Filled f = {}) { policy.cmdSetUserSettings("u", {}, f.applied); }},
        {Command::ActivateSystem, [](Filled f = {}) { policy.cmdActivateSystem(f.text, "p"); }},
        {Command::ActivateUser, [](Filled f = {}) { policy.cmdActivateUser("u", f.text, "p"); }},
        {Command::GetUserSettings, [](Filled f = {}) { policy.cmdGetUserSettings("u", &f.settings); }},
        {Command::LoggedInUser, [](Filled f = {}) { policy.cmdIsOtherUserLoggedIn("u", f.text); }},
        {Command::GetInterfaces, [](Filled f = {}) { net.getInterfaces(f.interfaces); }},
        {Command::GetStates, [](Filled f = {}) { monitor.GetStates(f.providerStates, f.tokenStates); }},
        {Command::EnumKeys, [](Filled f = {}) { monitor.EnumKeys(nullptr, f.keys, f.tokens); }},
        {Command::GetPublicKey, [](Filled f = {}) { monitor.GetPublicKey(token, {}, f.text); }},
        {Command::DeleteKey, [] { monitor.DeleteKey(token, {}); }},
        {Command::DeleteCertAndKey, [] { monitor.DeleteCertificateWithKey(token, {}); }},
        {Command::EnumCertLabels, [](Filled f = {}) { monitor.EnumCertLabels(nullptr, f.labels); }},
        {Command::GetUncommitted, [](Filled f = {}) { monitor.GetUncommitted(f.values); }},
        {Command::RevertSettings, [](Filled f = {}) { monitor.RevertSettings({"a"}, f.values); }},
        {Command::GenerateKey, [](Filled f = {}) { monitor.GenerateKey(token, 1, 2048, "label", f.key); }},
        {Command::MakeCertRequestWithPin, [](Filled f = {}) { monitor.MakeCertRequestWithPin(token, {}, "1234", f.request, f.text); }},
        {Command::CheckPolicy, [](Filled f = {}) { monitor.CheckPolicy("policy", f.content); }},
        {Command::GetEngine, [](Filled f = {}) { monitor.GetEngine(f.engine); }},
        {Command::GetTunnels, [](Filled f = {}) { monitor.GetTunnels(f.tunnels); }},
        {Command::ActOnTunnel, [] { monitor.ActOnTunnel("office", {}); }},
        {Command::ReadGroup, [] { LPARAMS::Client::IKE().load(); }},
        {Command::ReadGroup, [] { LPARAMS::Client::POLICY().load(); }},
        {Command::ReadGroup, [] { LPARAMS::Client::LOG().load(); }},
        {Command::WriteGroup, [] { LPARAMS::Client::ADMIN().save(); }},
        {Command::CommitGroups, [] { LPARAMS::Client::writeToDisk(); }},
        {Command::EnumCertificates, [](Certs c = {}, Filled f = {}) { c.EnumCertificates(0, f.certificates, f.tokens); }},
        {Command::EnumCRLs, [](Certs c = {}, Filled f = {}) { c.EnumCRLs(f.crls, f.tokens); }},
        {Command::EnumPresharedKeys, [](Certs c = {}, Filled f = {}) { c.EnumPresharedKeys(f.presharedKeys, f.tokens); }},
        {Command::EnumProviderTokens, [](Certs c = {}, Filled f = {}) { c.GetTokensList(f.tokens); }},
        {Command::CertsReloadAll, [](Certs c = {}) { c.ReloadAll(false); }},
        {Command::ImportCertificate, [](Certs c = {}) { c.ImportCertificate(token, 0, CertImportMode(), false, ""); }},
        {Command::ImportCRL, [](Certs c = {}) { c.ImportCRL(token, 0); }},
        {Command::ImportCertificates, [](Certs c = {}, Filled f = {}) { panelkit::importCertificates(c, token, {{}, {}}, nullptr, f.results); }},
        {Command::CreatePresharedKey, [](Certs c = {}) { c.CreatePresharedKey(token, "a", "b"); }},
        {Command::DeletePresharedKey, [](Certs c = {}) { c.DeletePresharedKey(token, {}); }},
        {Command::DeleteCertificate, [](Certs c = {}) { c.DeleteCertificate(token, {}); }},
        {Command::DeleteCRL, [](Certs c = {}) { c.DeleteCRL(token, {}); }},
        {Command::ExportCertificate, [](Certs c = {}, Filled f = {}) { c.ExportCertificate(token, {}, CertExportFormat(), "", false, false, f.text); }},
        {Command::GetCertDetails, [](Certs c = {}, Filled f = {}) { c.GetCertDetails(token, f.certificate, f.details, f.text); }},
        {Command::GetCertChain, [](Certs c = {}, Filled f = {}) { c.GetCertChain(token, {}, f.tokens, f.certificates); }},
        {Command::VerifyCert, [](Certs c = {}, Filled f = {}) { c.VerifyCert(token, {}, 0, &f.text); }},
        {Command::GetCertRequestKeyInfo, [](Certs c = {}, Filled f = {}) { c.GetCertRequestKeyInfo(token, f.choices); }},
        {Command::MakeCertRequest, [](Certs c = {}, Filled f = {}) { c.MakeCertRequest(token, {}, f.text); }},
    };
    // clang-format on
}

} // namespace attack
