// SPDX-License-Identifier: MIT
//
// panelctl status: the state of the service and of what it manages, on one screen.
#include <panelctl/base/failure_text.h>
#include <panelctl/base/output.h>
#include <panelctl/base/unseen.h>
#include <panelctl/base/verbs.h>
#include <panelctl/certs/cert_names.h>
#include <panelctl/policy/policy_names.h>
#include <panelctl/tokens/log_in.h>
#include <panelctl/tokens/token_names.h>
#include <panelctl/tunnels/engine_text.h>

#include <panelkit/bridge/sessions_pool.h>
#include <panelkit/lsp/lsp_controller.h>
#include <panelkit/lsp/policy_text.h>
#include <panelkit/monitor/monitor_controller.h>
#include <platform/bridge/bridge_session.h>
#include <platform/system/clock.h>
#include <vocabulary/tokens.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <optional>

namespace panelctl {

using nlohmann::ordered_json;
using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;

namespace {

constexpr std::uint64_t soon = std::uint64_t{30} * 86400; // seconds

struct Status {
    std::string service, policy;
    std::size_t providers = 0, providersNotLoaded = 0;
    std::size_t tokens = 0, tokensLoggedOut = 0;
    std::size_t certificates = 0, expired = 0, expiring = 0;
    std::optional<std::size_t> uncommitted;
    std::optional<panelkit::EngineInfo> engine;               // none: the service does not tell
    std::optional<std::vector<panelkit::TunnelInfo>> tunnels; // none: not for this account, or there can't be any
};

std::string serviceText() {
    BridgeSession* const session = SessionsPool::GetSession(SessionParameters);
    if (!session || !session->Connect()) throw lastFailureError();
    return session->service();
}

void lookAtTokens(Status& status) {
    VpnTokensController controller;
    std::vector<ProviderInfo> providers;
    if (!controller.EnumProviders(providers)) throw lastFailureError();
    const auto notLoaded = [](const ProviderInfo& one) { return !(one.*vocabulary::provider::isLoaded); };
    status.providers = providers.size();
    status.providersNotLoaded = static_cast<std::size_t>(std::count_if(providers.begin(), providers.end(), notLoaded));
    for (const TokenInfo& token : listTokens(controller)) {
        if (!(token.flags & vocabulary::tokenFlag::initialized)) continue;
        ++status.tokens;
        if (needsLogin(token)) ++status.tokensLoggedOut;
    }
}

void lookAtCertificates(Status& status, const Context& context) {
    const auto now = platform::secondsNow();
    const auto controller = certsController(context);
    for (const auto& [certificate, token] : listCertificates(*controller, vocabulary::CertSelector::all)) {
        ++status.certificates;
        if (certificate.notAfter == 0) continue; // the object is not a certificate
        if (certificate.notAfter < now) {
            ++status.expired;
        } else if (certificate.notAfter < now + soon) {
            ++status.expiring;
        }
    }
}

std::string policyText() {
    LSPinfo_t info;
    LSPrequest_t required;
    if (!LSPController().cmdGetPolicyInfo(info, required, nullptr, nullptr, false)) throw lastFailureError();
    info.message = policyMessage(info);
    std::string text;
    panelkit::shortPolicyText(info, required, text);
    return text;
}

// Nothing for an account that may not see them.
std::optional<std::size_t> uncommitted() {
    std::vector<panelkit::UncommittedValue> values;
    if (panelkit::MonitorController().GetUncommitted(values)) return values.size();
    if (bridge::lastFailure().code == bridge::FailureCode::accessDenied) return std::nullopt;
    throw lastFailureError();
}

std::string configurationText(const std::optional<std::size_t>& uncommitted) {
    if (!uncommitted) return say("only administrators see whether everything is committed");
    return *uncommitted == 0 ? say("everything is committed") : say("not committed: %d", *uncommitted);
}

Status look(const Context& context) {
    Status status{.service = serviceText(), .policy = policyText()};
    lookAtTokens(status);
    lookAtCertificates(status, context);
    status.uncommitted = uncommitted();
    status.engine = engineOfService();
    if (status.engine && status.engine->protectsTraffic) status.tunnels = visibleTunnels();
    return status;
}

ordered_json engineJson(const Status& status) {
    if (!status.engine) return nullptr;
    return {{"name", status.engine->name},
            {"protectsTraffic", status.engine->protectsTraffic},
            {"works", status.engine->works},
            {"condition", engineCondition(*status.engine)}};
}

ordered_json tunnelsJson(const Status& status) {
    if (!status.tunnels) return nullptr;
    return {{"count", status.tunnels->size()}, {"up", countUp(*status.tunnels)}};
}

ordered_json toJson(const Status& status) {
    return {
        {"schema", 1},
        {"service", status.service},
        {"policy", status.policy},
        {"providers", {{"count", status.providers}, {"notLoaded", status.providersNotLoaded}}},
        {"tokens", {{"count", status.tokens}, {"loggedOut", status.tokensLoggedOut}}},
        {"certificates", {{"count", status.certificates}, {"expired", status.expired}, {"expiring", status.expiring}}},
        {"uncommitted", status.uncommitted ? ordered_json(*status.uncommitted) : ordered_json(nullptr)},
        {"engine", engineJson(status)},
        {"tunnels", tunnelsJson(status)}};
}

Mood moodIf(bool attention) { return attention ? Mood::warning : Mood::plain; }

void print(const Status& status) {
    Sheet sheet;
    sheet.add(say("Service"), {status.service});
    sheet.add(say("Policy"), {inOneLine(status.policy)});
    if (status.engine) sheet.add(say("Engine"), {engineText(*status.engine), moodIf(!status.engine->works)});
    if (status.tunnels) {
        const std::size_t up = countUp(*status.tunnels);
        sheet.add(say("Tunnels"), {say("%d, up: %d", status.tunnels->size(), up), moodIf(up < status.tunnels->size())});
    }
    sheet.add(say("Providers"), {say("%d, not loaded: %d", status.providers, status.providersNotLoaded),
                                 moodIf(status.providersNotLoaded > 0)});
    sheet.add(say("Tokens"), {say("%d, logged out: %d", status.tokens, status.tokensLoggedOut)});
    sheet.add(say("Certificates"), {say("%d, expired: %d, expiring within 30 days: %d", status.certificates,
                                        status.expired, status.expiring),
                                    moodIf(status.expired + status.expiring > 0)});
    sheet.add(say("Configuration"),
              {configurationText(status.uncommitted), moodIf(status.uncommitted.value_or(0) > 0)});
    sheet.print();
}

void showStatus(const Context& context) {
    const Status status = look(context);
    context.json ? printJson(toJson(status)) : print(status);
    requireAllSeen();
}

} // namespace

// The group is its own verb.
void addStatus(CLI::App& group, const Context& context) {
    group.require_subcommand(0);
    group.callback([&context] { showStatus(context); });
}

} // namespace panelctl
