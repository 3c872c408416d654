// SPDX-License-Identifier: MIT
#include <panelctl/program/doctor_checks.h>

#include <panelctl/base/failure_text.h>
#include <panelctl/base/language.h>
#include <panelctl/base/system.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/tokens/token_names.h>
#include <panelctl/tunnels/engine_text.h>

#include <panelkit/bridge/sessions_pool.h>
#include <panelkit/certs/certs_controller.h>
#include <panelkit/cli/console_setup.h>
#include <panelkit/lparams/sections/sections.h>
#include <panelkit/lsp/lsp_controller.h>
#include <panelkit/monitor/monitor_controller.h>
#include <panelkit/monitor/unseen.h>
#include <panelkit/tokens/tokens_controller.h>
#include <panelkit/version.h>
#include <platform/bridge/bridge_session.h>
#include <platform/bridge/command_sender.h>
#include <platform/bridge/failure.h>
#include <platform/system/clock.h>
#include <platform/text/join.h>
#include <vocabulary/certs.h>
#include <vocabulary/refusals.h>
#include <vocabulary/tokens.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace panelctl {

namespace {

using bridge::FailureCode;
using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;

constexpr std::uint64_t soon = 30; // days before a certificate expires
constexpr std::size_t namesShown = 3;

Finding good(std::string found) { return {Health::good, std::move(found), {}}; }
Finding warning(std::string found, std::string remedy) {
    return {Health::warning, std::move(found), std::move(remedy)};
}
Finding bad(std::string found, std::string remedy) { return {Health::bad, std::move(found), std::move(remedy)}; }
Finding passedOver(std::string why) { return {Health::passedOver, std::move(why), {}}; }

// The first names, for one line.
std::string someOf(const std::vector<std::string>& names) {
    const auto first = std::span(names).first(std::min(names.size(), namesShown));
    const std::string list =
        platform::joined(first, ", ", [](const std::string& name) { return '"' + escaped(name) + '"'; });
    return names.size() > namesShown ? list + ", ..." : list;
}

// ---- remedies

std::string installSameVersion() { return say("install library and service of the same version"); }
std::string renewCertificate() { return say("request a new certificate and import it: panelctl cert request"); }
std::string installTranslations() {
    return say("install the translations of this version into share/locale beside the program");
}

// The remedy when the service can't be reached or does not answer.
std::string remedyOf(FailureCode failure) {
    switch (failure) {
    case FailureCode::noService:
        return say("start the service (systemctl start panelkitd), or name its socket with --endpoint");
    case FailureCode::accessDenied:
        return say("ask an administrator to add this account to the service's group of users");
    case FailureCode::versionMismatch: return installSameVersion();
    case FailureCode::strangeService:
        return say("do not enter any PIN; find out who runs the service at this endpoint");
    case FailureCode::badEndpoint: return say("correct --endpoint or the environment variable PANELKIT_BRIDGE");
    default: return say("check the log of the service (journalctl -u panelkitd), and restart the service");
    }
}

// The finding for a command that failed. One that the service does not have is not a fault.
Finding failed() {
    const bridge::Failure& failure = bridge::lastFailure();
    if (failure.code == FailureCode::none || (failure.code == FailureCode::refused && failure.detail == 0)) {
        return passedOver(failure.text().empty() ? say("the service gives no information")
                                                 : escaped(failureText(failure)));
    }
    return bad(escaped(failureText(failure)), remedyOf(failure.code));
}

BridgeSession* connectedSession() {
    BridgeSession* const session = SessionsPool::GetSession(SessionParameters);
    return session && session->Connect() ? session : nullptr;
}

Finding lookAtService() {
    const BridgeSession* const session = connectedSession();
    const std::string endpoint = escaped(CommandSender::Instance().Endpoint());
    if (!session) return bad(escaped(failureText(bridge::lastFailure())), remedyOf(bridge::lastFailure().code));
    return good(say("%s answers at %s", escaped(session->service()), endpoint));
}

// "panelkitd 0.1.0" ends with the version, which is the library's if both were built together.
Finding lookAtVersions() {
    const BridgeSession* const session = connectedSession();
    if (!session) return failed();
    const std::string service = session->service();
    const std::string version = service.substr(service.rfind(' ') + 1);
    const std::string both = say("library %s, service %s", panelkit::version(), escaped(service));
    return version == panelkit::version() ? good(both) : warning(both, installSameVersion());
}

Finding lookAtRights() {
    VpnTokensController controller;
    std::vector<ProviderInfo> listed;
    if (!controller.EnumProviders(listed)) return failed();
    std::vector<panelkit::UncommittedValue> values; // for administrators, and changes nothing
    if (panelkit::MonitorController().GetUncommitted(values)) {
        return good(say("this account may use and administer the service"));
    }
    if (bridge::lastFailure().code != FailureCode::accessDenied) return good(say("this account may use the service"));
    return good(say("this account may use the service, and not administer it: %s",
                    escaped(failureText(bridge::lastFailure()))));
}

Finding lookAtProviders() {
    namespace field = vocabulary::provider;
    VpnTokensController controller;
    std::vector<ProviderInfo> listed;
    if (!controller.EnumProviders(listed)) return failed();
    if (listed.empty()) {
        return warning(say("There are no providers."), say("load a PKCS#11 module: panelctl provider load MODULE"));
    }
    for (const ProviderInfo& provider : listed) {
        if (provider.*field::isLoaded) continue;
        const std::string why = say("not loaded: %s", escaped(problemText(provider, bridge::lastRemarks())));
        return bad('"' + escaped(provider.*field::name) + "\": " + why,
                   say("install or repair the module, then reload all providers: panelctl token reload"));
    }
    return good(say("all loaded: %d", listed.size()));
}

// The labels of the tokens with the flag.
std::vector<std::string> labelsWith(const std::vector<TokenInfo>& tokens, std::uint32_t flag) {
    std::vector<std::string> labels;
    for (const TokenInfo& token : tokens) {
        if (token.flags & flag) labels.push_back(token.*vocabulary::token::label);
    }
    return labels;
}

// The first token or provider that the last listing could not read, if there is one.
std::optional<Finding> unread() {
    const std::vector<panelkit::Unseen> parts = panelkit::lastUnseen();
    if (parts.empty()) return std::nullopt;
    return bad(escaped(inOneLine(remarksText(parts[0].remarks, {}))),
               say("see what is known of it: panelctl token states"));
}

Finding lookAtTokens() {
    namespace flag = vocabulary::tokenFlag;
    VpnTokensController controller;
    std::vector<TokenInfo> listed;
    if (!controller.EnumProviderTokens(nullptr, listed)) return failed();
    if (const auto found = unread()) return *found;
    std::erase_if(listed, [](const TokenInfo& token) { return !(token.flags & flag::initialized); });
    if (listed.empty()) {
        return warning(say("there is no initialised token"),
                       say("insert a token, or initialise one: panelctl token init --label LABEL"));
    }
    const auto locked = labelsWith(listed, flag::userPinLocked);
    if (!locked.empty()) {
        return bad(say("PIN locked: %s", someOf(locked)),
                   say("unlock the token with the program of its maker, or erase it: panelctl token init"));
    }
    const auto finalTry = labelsWith(listed, flag::userPinFinalTry);
    if (!finalTry.empty()) {
        return warning(say("one PIN try remains: %s", someOf(finalTry)),
                       say("make sure that the PIN is right, then log in with --final-try: panelctl token login"));
    }
    return good(say("ready: %d", listed.size()));
}

// The subjects of certificates whose validity ends in the given time, in seconds since 1970.
std::vector<std::string> ending(const std::vector<CertInfo>& certificates, std::uint64_t from, std::uint64_t until) {
    std::vector<std::string> subjects;
    for (const CertInfo& certificate : certificates) {
        if (certificate.notAfter >= from && certificate.notAfter < until) subjects.push_back(certificate.subject);
    }
    return subjects;
}

// Removes the certificates of authorities and returns them: nobody here can renew these.
std::vector<CertInfo> takeAuthorities(std::vector<CertInfo>& certificates) {
    const auto authorities = std::stable_partition(certificates.begin(), certificates.end(), [](const CertInfo& one) {
        return (one.flags & vocabulary::certFlag::authority) == 0;
    });
    std::vector<CertInfo> taken(authorities, certificates.end());
    certificates.erase(authorities, certificates.end());
    return taken;
}

Finding lookAtCertificates() {
    VpnCertsSilentController controller;
    std::vector<CertInfo> listed;
    std::vector<TokenInfo> tokens;
    if (!controller.EnumCertificates(0, listed, tokens)) return failed();
    if (const auto found = unread()) return *found;
    const std::vector<CertInfo> authorities = takeAuthorities(listed);
    const auto now = platform::secondsNow();
    const auto expired = ending(listed, 1, now); // 0: the object is not a certificate
    if (!expired.empty()) return bad(say("expired: %s", someOf(expired)), renewCertificate());
    const auto expiring = ending(listed, now, now + soon * 86400);
    if (!expiring.empty()) return warning(say("expiring within 30 days: %s", someOf(expiring)), renewCertificate());
    const auto endedAuthorities = ending(authorities, 1, now + soon * 86400);
    if (!endedAuthorities.empty()) {
        return warning(
            say("authorities that have expired or expire within 30 days: %s", someOf(endedAuthorities)),
            say("import the new certificate of the authority, and delete the old one: panelctl cert delete"));
    }
    return good(say("valid for at least 30 more days: %d", listed.size() + authorities.size()));
}

Finding lookAtTraffic() {
    const std::optional<panelkit::EngineInfo> engine = engineOfService();
    if (!engine) return passedOver(say("the service gives no information"));
    const std::string text = escaped(engineText(*engine));
    if (!engine->works) return bad(text, remedyOf(FailureCode::refused));
    if (!engine->protectsTraffic) return good(text);
    std::vector<std::string> notUp;
    for (const panelkit::TunnelInfo& tunnel : visibleTunnels().value_or(std::vector<panelkit::TunnelInfo>())) {
        if (tunnel.condition != panelkit::TunnelCondition::up) notUp.push_back(tunnel.section);
    }
    if (notUp.empty()) return good(text);
    return warning(say("tunnels that are not up: %s", someOf(notUp)), say("see why: panelctl tunnel list"));
}

bool readProviders() {
    VpnTokensController controller;
    std::vector<ProviderInfo> listed;
    return controller.EnumProviders(listed);
}

bool readPolicy() {
    LSPController controller;
    LSPinfo_t info;
    LSPrequest_t required;
    return controller.cmdGetPolicyInfo(info, required, nullptr, nullptr, false);
}

bool readConfiguration() { return LPARAMS::Client::PROXY().load(); }

// The service remarks on its files with what it reads from them. It starts without a file that it can't read.
Finding lookAtState() {
    std::size_t answers = 0;
    std::vector<bridge::Remark> problems;
    for (const auto& read : {readProviders, readPolicy, readConfiguration}) {
        if (!read()) continue;
        ++answers;
        for (const bridge::Remark& remark : bridge::lastRemarks()) {
            if (remark.code == static_cast<std::uint32_t>(vocabulary::Refused::notStored)) problems.push_back(remark);
        }
    }
    if (answers == 0) return passedOver(say("the service gives no information"));
    if (problems.empty()) return good(say("all files of the service are in use"));
    return bad(escaped(remarksText({problems.data(), 1}, {})),
               say("repair or remove the file as the manual page panelkitd(8) says, and restart the service"));
}

Finding lookAtLanguage() {
    const Language& language = chosenLanguage();
    if (!language.problems.empty()) return warning(escaped(language.problems.front()), installTranslations());
    if (language.name != language.wanted) {
        return warning(say("there is no translation into \"%s\"", language.wanted), installTranslations());
    }
    if (language.folder.empty()) return good(language.name);
    return good(say("%s, from %s", language.name, escaped(language.folder)));
}

Finding lookAtLocale() {
    const std::uint32_t page = panelkit::ConsoleSetup::get().consolePage();
    const std::optional<std::string> locale = environmentLocale();
    if (page != 0) return good(say("%s, code page %d", escaped(locale.value_or("")), page));
    if (!locale) return passedOver(say("there is no console"));
    const bool unset = locale->empty() || *locale == "C" || *locale == "POSIX";
    if (unset) {
        return warning(say("no locale is set; output is in UTF-8"),
                       say("set LANG to a locale that is installed; locale -a lists them"));
    }
    return warning(say("the locale %s is not installed; output is in UTF-8", escaped(*locale)),
                   say("install it (locale-gen), or set LANG to one that is; locale -a lists them"));
}

// clang-format off
constexpr std::array all = {
    Check{"service",      N_("service"),      false, lookAtService},
    Check{"rights",       N_("rights"),       true,  lookAtRights},
    Check{"versions",     N_("versions"),     true,  lookAtVersions},
    Check{"providers",    N_("providers"),    true,  lookAtProviders},
    Check{"tokens",       N_("tokens"),       true,  lookAtTokens},
    Check{"certificates", N_("certificates"), true,  lookAtCertificates},
    Check{"traffic",      N_("traffic"),      true,  lookAtTraffic},
    Check{"state",        N_("stored state"), true,  lookAtState},
    Check{"language",     N_("language"),     false, lookAtLanguage},
    Check{"locale",       N_("locale"),       false, lookAtLocale},
};
// clang-format on

} // namespace

std::span<const Check> checks() { return all; }

} // namespace panelctl
