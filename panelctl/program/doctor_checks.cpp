// SPDX-License-Identifier: MIT
#include <panelctl/program/doctor_checks.h>

#include <panelctl/display_width.h>
#include <panelctl/failure_text.h>
#include <panelctl/host.h>
#include <panelctl/language.h>

#include <panelkit/bridge/sessions_pool.h>
#include <panelkit/certs/certs_controller.h>
#include <panelkit/cli/console_setup.h>
#include <panelkit/tokens/tokens_controller.h>
#include <panelkit/version.h>
#include <platform/bridge/bridge_session.h>
#include <platform/bridge/command_sender.h>
#include <platform/bridge/failure.h>
#include <vocabulary/tokens.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
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
Finding warning(std::string found, Say remedy) { return {Health::warning, std::move(found), text(remedy)}; }
Finding bad(std::string found, Say remedy) { return {Health::bad, std::move(found), text(remedy)}; }
Finding passedOver(std::string why) { return {Health::passedOver, std::move(why), {}}; }

std::string count(std::size_t number) { return std::to_string(number); }

// Some of the names, for a line.
std::string someOf(const std::vector<std::string>& names) {
    std::string list;
    for (std::size_t i = 0; i < std::min(names.size(), namesShown); ++i) {
        list += (i ? ", " : "") + ('"' + escaped(names[i]) + '"');
    }
    return names.size() > namesShown ? list + ", ..." : list;
}

// What helps when the service can't be reached or does not answer.
Say remedyOf(FailureCode failure) {
    switch (failure) {
    case FailureCode::noService: return Say::remedyStart;
    case FailureCode::accessDenied: return Say::remedyAccess;
    case FailureCode::versionMismatch: return Say::remedyVersions;
    case FailureCode::strangeService: return Say::remedyStranger;
    case FailureCode::badEndpoint: return Say::remedyEndpoint;
    default: return Say::remedyLog;
    }
}

// A command that failed: one that the service does not have is no fault.
Finding failed() {
    const bridge::Failure& failure = bridge::lastFailure();
    if (failure.code == FailureCode::none || (failure.code == FailureCode::refused && failure.detail == 0)) {
        return passedOver(failure.text.empty() ? text(Say::doctorNoAnswer) : escaped(failureText(failure)));
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
    return good(phrase(Say::doctorAnswers, {escaped(session->service()), endpoint}));
}

// "panelkitd 0.1.0" ends with its version; the library and its service come from one tree.
Finding lookAtVersions() {
    const BridgeSession* const session = connectedSession();
    if (!session) return failed();
    const std::string service = session->service();
    const std::string version = service.substr(service.rfind(' ') + 1);
    const std::string both = phrase(Say::doctorVersions, {panelkit::version(), escaped(service)});
    return version == panelkit::version() ? good(both) : warning(both, Say::remedyVersions);
}

Finding lookAtRights() {
    VpnTokensController controller;
    std::vector<ProviderInfo> listed;
    return controller.EnumProviders(listed) ? good(text(Say::doctorMayUse)) : failed();
}

Finding lookAtProviders() {
    namespace field = vocabulary::provider;
    VpnTokensController controller;
    std::vector<ProviderInfo> listed;
    if (!controller.EnumProviders(listed)) return failed();
    if (listed.empty()) return warning(text(Say::noProviders), Say::remedyLoadProvider);
    for (const ProviderInfo& provider : listed) {
        if (provider.*field::isLoaded) continue;
        const std::string why = phrase(Say::stateNotLoaded, {escaped(provider.*field::problem)});
        return bad('"' + escaped(provider.*field::name) + "\": " + why, Say::remedyProvider);
    }
    return good(phrase(Say::doctorProviders, {count(listed.size())}));
}

// The labels of the tokens that have the flag.
std::vector<std::string> labelsWith(const std::vector<TokenInfo>& tokens, std::uint32_t flag) {
    std::vector<std::string> labels;
    for (const TokenInfo& token : tokens) {
        if (token.flags & flag) labels.push_back(token.*vocabulary::token::label);
    }
    return labels;
}

Finding lookAtTokens() {
    namespace flag = vocabulary::tokenFlag;
    VpnTokensController controller;
    std::vector<TokenInfo> listed;
    if (!controller.EnumProviderTokens(nullptr, listed)) return failed();
    std::erase_if(listed, [](const TokenInfo& token) { return !(token.flags & flag::initialized); });
    if (listed.empty()) return warning(text(Say::doctorNoTokens), Say::remedyToken);
    const auto locked = labelsWith(listed, flag::userPinLocked);
    if (!locked.empty()) return bad(phrase(Say::doctorLocked, {someOf(locked)}), Say::remedyLocked);
    const auto finalTry = labelsWith(listed, flag::userPinFinalTry);
    if (!finalTry.empty()) return warning(phrase(Say::doctorFinalTry, {someOf(finalTry)}), Say::remedyFinalTry);
    return good(phrase(Say::doctorTokens, {count(listed.size())}));
}

std::uint64_t now() {
    const auto since = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::seconds>(since).count());
}

// Whose validity ends in the given time, as seconds since 1970.
std::vector<std::string> ending(const std::vector<CertInfo>& certificates, std::uint64_t from, std::uint64_t until) {
    std::vector<std::string> subjects;
    for (const CertInfo& certificate : certificates) {
        if (certificate.notAfter >= from && certificate.notAfter < until) subjects.push_back(certificate.subject);
    }
    return subjects;
}

Finding lookAtCertificates() {
    VpnCertsSilentController controller;
    std::vector<CertInfo> listed;
    std::vector<TokenInfo> tokens;
    if (!controller.EnumCertificates(0, listed, tokens)) return failed();
    const auto expired = ending(listed, 1, now()); // 0 stands for an object that is no certificate
    if (!expired.empty()) return bad(phrase(Say::doctorExpired, {someOf(expired)}), Say::remedyRenew);
    const auto expiring = ending(listed, now(), now() + soon * 86400);
    if (!expiring.empty()) return warning(phrase(Say::doctorExpiring, {someOf(expiring)}), Say::remedyRenew);
    return good(phrase(Say::doctorCertificates, {count(listed.size())}));
}

Finding lookAtLanguage() {
    const Language& language = chosenLanguage();
    if (!language.problems.empty()) return warning(escaped(language.problems.front()), Say::remedyCatalogue);
    if (language.name != language.wanted) {
        return warning(phrase(Say::noTranslation, {language.wanted}), Say::remedyCatalogue);
    }
    if (language.folder.empty()) return good(language.name);
    return good(phrase(Say::doctorLanguageFrom, {language.name, escaped(language.folder)}));
}

Finding lookAtLocale() {
    const std::uint32_t page = panelkit::ConsoleSetup::get().consolePage();
    const std::optional<std::string> locale = environmentLocale();
    if (page != 0) return good(phrase(Say::doctorLocale, {escaped(locale.value_or("")), std::to_string(page)}));
    if (!locale) return passedOver(text(Say::doctorNoConsole));
    const bool unset = locale->empty() || *locale == "C" || *locale == "POSIX";
    if (unset) return warning(text(Say::doctorNoLocale), Say::remedyNoLocale);
    return warning(phrase(Say::doctorStrangeLocale, {escaped(*locale)}), Say::remedyStrangeLocale);
}

// clang-format off
constexpr std::array all = {
    Check{"service",      Say::checkService,      false, lookAtService},
    Check{"rights",       Say::checkRights,       true,  lookAtRights},
    Check{"versions",     Say::checkVersions,     true,  lookAtVersions},
    Check{"providers",    Say::checkProviders,    true,  lookAtProviders},
    Check{"tokens",       Say::checkTokens,       true,  lookAtTokens},
    Check{"certificates", Say::checkCertificates, true,  lookAtCertificates},
    Check{"language",     Say::checkLanguage,     false, lookAtLanguage},
    Check{"locale",       Say::checkLocale,       false, lookAtLocale},
};
// clang-format on

} // namespace

std::span<const Check> checks() { return all; }

} // namespace panelctl
