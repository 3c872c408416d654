// SPDX-License-Identifier: MIT
#include <panelctl/watch/watch_events.h>

#include <panelctl/base/failure_text.h>
#include <panelctl/base/say.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/certs/cert_format.h>
#include <panelctl/tokens/token_names.h>
#include <panelctl/watch/watched_tunnels.h>

#include <panelkit/format/time_text.h>
#include <platform/system/clock.h>
#include <platform/text/join.h>
#include <vocabulary/policy.h>
#include <vocabulary/tokens.h>

#include <algorithm>
#include <array>
#include <span>
#include <tuple>
#include <utility>

namespace panelctl {

using nlohmann::ordered_json;
using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;
using vocabulary::Notification;
using vocabulary::NotificationRow;
namespace field = vocabulary::token;
namespace flag = vocabulary::tokenFlag;
namespace providerField = vocabulary::provider;

namespace {

struct EventRow {
    Notification id;
    const char* name;
};

// clang-format off
constexpr std::array eventRows = {
    EventRow{Notification::tokenArrived,           "token-arrived"},
    EventRow{Notification::tokenRemoved,           "token-removed"},
    EventRow{Notification::tokenInitialized,       "token-initialized"},
    EventRow{Notification::tokenLoggedIn,          "token-logged-in"},
    EventRow{Notification::tokenLoggedOut,         "token-logged-out"},
    EventRow{Notification::configurationCommitted, "configuration-committed"},
    EventRow{Notification::policyActivated,        "policy-activated"},
    EventRow{Notification::policyFailed,           "policy-failed"},
    EventRow{Notification::tunnelUp,               "tunnel-up"},
    EventRow{Notification::tunnelDown,             "tunnel-down"},
    EventRow{Notification::certificateExpiring,    "certificate-expiring"},
    EventRow{Notification::serviceStopping,        "service-stopping"},
};
// clang-format on
static_assert(eventRows.size() == vocabulary::allNotifications.size());

const char* nameOf(Notification id) {
    return std::find_if(eventRows.begin(), eventRows.end(), [&](const EventRow& row) { return row.id == id; })->name;
}

std::string tokenText(Notification id, const TokenInfo& token) {
    const std::string label = escaped(token.*field::label);
    const std::string serial = escaped(token.*field::serial);
    // clang-format off
    switch (id) {
    case Notification::tokenArrived:     return say("Token \"%s\" (serial number %s) was inserted.", label, serial);
    case Notification::tokenRemoved:     return say("Token \"%s\" (serial number %s) was removed.", label, serial);
    case Notification::tokenInitialized: return say("Token \"%s\" (serial number %s) was initialised.", label, serial);
    case Notification::tokenLoggedIn:    return say("The service is logged in to token \"%s\" (serial number %s).", label, serial);
    default:                             return say("The service is logged out of token \"%s\" (serial number %s).", label, serial);
    }
    // clang-format on
}

// The name of a policy for people: its source and title, and its user.
std::string titleOf(const vocabulary::PolicyNotice& notice) {
    const std::string title = escaped(notice.source) + " \"" + escaped(notice.policy) + "\"";
    return notice.user.empty() ? title : title + " (" + escaped(notice.user) + ")";
}

std::string policyText(Notification id, const vocabulary::PolicyNotice& notice, const std::string& reason) {
    if (id != Notification::policyFailed) return say("Policy %s is in force.", titleOf(notice));
    return say("Policy %s could not be activated: %s", titleOf(notice), escaped(inOneLine(reason)));
}

std::string tunnelText(Notification id, const vocabulary::TunnelNotice& notice, const std::string& reason) {
    const std::string section = escaped(notice.section), gateway = escaped(notice.gateway);
    const bool isUp = id == Notification::tunnelUp;
    std::string text;
    if (!notice.user.empty()) {
        const std::string user = escaped(notice.user);
        text = isUp ? say("A tunnel of the policy of %s is up.", user)
                    : say("A tunnel of the policy of %s is down.", user);
    } else if (isUp) {
        text = say("The tunnel of section [%s] to the gateway %s is up.", section, gateway);
    } else if (reason.empty()) {
        text = say("The tunnel of section [%s] to the gateway %s is down.", section, gateway);
    } else {
        text = say("The tunnel of section [%s] to the gateway %s is down: %s", section, gateway,
                   escaped(inOneLine(reason)));
    }
    if (notice.changes < 2) return text;
    return text + ' ' + sayPlural("(%d change)", "(%d changes)", notice.changes, notice.changes);
}

std::string certificateText(const vocabulary::CertificateNotice& notice) {
    const std::string subject = escaped(notice.certificate.subject);
    const std::string token = escaped(notice.token.*field::label);
    if (notice.daysLeft < 0) return say("Certificate \"%s\" on token \"%s\" has expired.", subject, token);
    return sayPlural("Certificate \"%s\" on token \"%s\" expires in %d day.",
                     "Certificate \"%s\" on token \"%s\" expires in %d days.",
                     static_cast<std::uint64_t>(notice.daysLeft), subject, token, notice.daysLeft);
}

// Fills in text and details, notice by notice.
struct Describe {
    WatchEvent& event;
    Notification id;
    std::span<const bridge::Remark> remarks = {};

    void operator()(const vocabulary::StoppingNotice&) const { event.text = say("The service is stopping."); }
    void operator()(const vocabulary::TokenNotice& notice) const {
        event.text = tokenText(id, notice.token);
        event.details["token"] = tokenJson(notice.token);
    }
    void operator()(const vocabulary::ConfigurationNotice& notice) const {
        event.text = say("%s committed the configuration: %s.", escaped(notice.user),
                         platform::joined(notice.sections, ", ", escaped));
        event.details["user"] = notice.user;
        event.details["sections"] = notice.sections;
    }
    void operator()(const vocabulary::PolicyNotice& notice) const {
        const std::string reason = remarksText(remarks, notice.reason);
        event.text = policyText(id, notice, reason);
        event.details["source"] = notice.source;
        event.details["policy"] = notice.policy;
        event.details["user"] = notice.user;
        event.details["reason"] = reason;
    }
    void operator()(const vocabulary::TunnelNotice& notice) const {
        const std::string reason = remarksText(remarks, notice.reason);
        event.text = tunnelText(id, notice, reason);
        event.details["section"] = notice.section;
        event.details["gateway"] = notice.gateway;
        event.details["user"] = notice.user;
        event.details["changes"] = notice.changes;
        event.details["reason"] = reason;
    }
    void operator()(const vocabulary::CertificateNotice& notice) const {
        event.text = certificateText(notice);
        event.details["token"] = tokenJson(notice.token);
        event.details["certificate"] = certificateJson(notice.certificate);
        event.details["certificate"]["daysLeft"] = notice.daysLeft; // as the text says it, whenever it is shown
    }
};

WatchEvent make(const char* name, std::string text) {
    return {name, platform::secondsNow(), std::move(text), ordered_json::object(), false};
}

template <Notification id, class Notice>
Heard readRow(NotificationRow<id, Notice>, CommandStreamIn& payload) {
    Notice notice;
    payload >> notice;
    return {id, notice, {}};
}

// A notice without remarks is one of an older service.
template <Notification id, class Notice>
Heard readRow(NotificationRow<id, Notice, std::vector<vocabulary::NoticeRemark>>, CommandStreamIn& payload) {
    Heard heard = readRow(NotificationRow<id, Notice>(), payload);
    if (payload.position() == payload.size()) return heard;
    const std::string rest(payload.rest());
    std::vector<vocabulary::NoticeRemark> remarks;
    CommandStreamIn(rest, CommandStreamIn::Counts::mustFit) >> remarks;
    for (auto& [code, wording, arguments] : remarks) {
        if (!wording.empty()) heard.remarks.push_back({code, {std::move(wording), std::move(arguments)}});
    }
    return heard;
}

template <class... Rows>
Heard readRowOf(vocabulary::NotificationTable<Rows...>, Notification id, CommandStreamIn& payload) {
    Heard heard;
    static_cast<void>(((Rows::id == id && (heard = readRow(Rows(), payload), true)) || ...));
    return heard;
}

// Unlike sameToken: the label of a card changes when it is initialised again.
bool sameCard(const TokenInfo& one, const TokenInfo& other) {
    return one.*field::serial == other.*field::serial && one.*field::provider == other.*field::provider;
}

const TokenInfo* find(const std::vector<TokenInfo>& tokens, const TokenInfo& token) {
    const auto found =
        std::find_if(tokens.begin(), tokens.end(), [&](const TokenInfo& other) { return sameCard(other, token); });
    return found == tokens.end() ? nullptr : &*found;
}

WatchEvent missedOf(Notification id, const TokenInfo& token) {
    WatchEvent event = describe({id, vocabulary::TokenNotice{{platform::secondsNow(), 0}, token}, {}});
    event.missed = true;
    return event;
}

WatchEvent missedOf(const char* name, Loc::MarkedWording<'s'> text, const ProviderInfo& provider) {
    WatchEvent event = make(name, say(text, escaped(provider.*providerField::name)));
    event.details["provider"] = provider.*providerField::name;
    event.missed = true;
    return event;
}

// A section that could not be read before or now is not compared.
void compareSections(const WatchedState& before, const WatchedState& now, std::vector<WatchEvent>& events) {
    std::vector<std::string> changed;
    for (const auto& [name, hash] : now.sections) {
        const auto known = before.sections.find(name);
        if (known != before.sections.end() && known->second != hash) changed.push_back(name);
    }
    if (changed.empty()) return;
    WatchEvent event = make("configuration-changed",
                            say("The configuration has changed: %s.", platform::joined(changed, ", ", escaped)));
    event.details["sections"] = changed;
    event.missed = true;
    events.push_back(event);
}

vocabulary::PolicyNotice noticeOf(const LSPrequest_t& request, const std::string& title) {
    vocabulary::PolicyNotice notice{
        {platform::secondsNow(), 0}, "system", title.empty() ? request.file : title, {}, {}};
    if (request.type == LSPdriver) notice.source = "driver";
    if (isUserPolicy(request.type)) {
        notice.source = "user";
        notice.user = request.user;
    }
    return notice;
}

// Without the credentials in the requests: they depend on the diagnosis, which changes with the tokens.
auto sourceOf(const LSPrequest_t& request) {
    return std::make_tuple(request.type, request.user, request.file,
                           request.type == LSPdriver ? request.driverMode : LSPdropAll, request.server.Server);
}

auto contentOf(const LSPinfo_t& info) {
    namespace its = vocabulary::policyInfo;
    return std::make_tuple(sourceOf(info.request), info.activated, info.Title, info.*its::version, info.*its::sections);
}

void comparePolicies(const WatchedPolicy& before, const WatchedPolicy& now, std::vector<WatchEvent>& events) {
    const auto add = [&](const char* name, const vocabulary::PolicyNotice& notice) -> WatchEvent& {
        WatchEvent& event = events.emplace_back(make(name, {}));
        Describe{event, Notification::policyActivated}(notice);
        event.missed = true;
        return event;
    };
    if (sourceOf(before.required) != sourceOf(now.required)) {
        const bool loaded = sourceOf(now.required) == sourceOf(now.inForce.request);
        const vocabulary::PolicyNotice notice = noticeOf(now.required, loaded ? now.inForce.Title : "");
        add("policy-required", notice).text = say("Policy %s is required.", titleOf(notice));
    }
    if (contentOf(before.inForce) != contentOf(now.inForce)) {
        add("policy-activated", noticeOf(now.inForce.request, now.inForce.Title));
    }
}

void compareToken(const TokenInfo* before, const TokenInfo& token, std::vector<WatchEvent>& events) {
    if (!before) events.push_back(missedOf(Notification::tokenArrived, token));
    const bool fresh = before && (token.flags & flag::initialized) &&
                       (before->*field::label != token.*field::label || !(before->flags & flag::initialized));
    if (fresh) events.push_back(missedOf(Notification::tokenInitialized, token));
    const bool wasIn = before && (before->flags & flag::loggedIn);
    const bool isIn = (token.flags & flag::loggedIn) != 0;
    if (isIn != wasIn) {
        events.push_back(missedOf(isIn ? Notification::tokenLoggedIn : Notification::tokenLoggedOut, token));
    }
}

// Whether the provider is among them, and loaded.
bool isLoadedIn(const std::vector<ProviderInfo>& providers, const ProviderInfo& provider) {
    return std::any_of(providers.begin(), providers.end(), [&](const ProviderInfo& other) {
        return other.*providerField::name == provider.*providerField::name && other.*providerField::isLoaded;
    });
}

} // namespace

const vocabulary::Moment& Heard::moment() const {
    return std::visit([](const auto& any) -> const vocabulary::Moment& { return any.moment; }, notice);
}

Heard readHeard(Notification id, CommandStreamIn& payload) {
    return readRowOf(vocabulary::Notifications(), id, payload);
}

WatchEvent describe(const Heard& heard) {
    WatchEvent event{nameOf(heard.id), heard.moment().time, {}, ordered_json::object(), false, heard.moment().number};
    std::visit(Describe{event, heard.id, heard.remarks}, heard.notice);
    return event;
}

WatchEvent serviceCame() { return make("service-attached", say("The service is running.")); }
WatchEvent serviceWent() {
    return make("service-detached", say("Lost the connection to the service; waiting for it."));
}

void WatchedState::apply(const Heard& heard) {
    const auto* notice = std::get_if<vocabulary::TokenNotice>(&heard.notice);
    if (!notice) return;
    tokens.erase(std::remove_if(tokens.begin(), tokens.end(),
                                [&](const TokenInfo& token) { return sameCard(token, notice->token); }),
                 tokens.end());
    if (heard.id != Notification::tokenRemoved) tokens.push_back(notice->token);
}

// Tokens without a serial number are empty slots of software providers; they are not reported.
std::vector<WatchEvent> differences(const WatchedState& before, const WatchedState& now) {
    std::vector<WatchEvent> events;
    for (const ProviderInfo& provider : before.providers) {
        if (provider.*providerField::isLoaded && !isLoadedIn(now.providers, provider)) {
            events.push_back(missedOf("provider-unloaded", N_("Provider \"%s\" is no longer loaded."), provider));
        }
    }
    for (const ProviderInfo& provider : now.providers) {
        if (provider.*providerField::isLoaded && !isLoadedIn(before.providers, provider)) {
            events.push_back(missedOf("provider-loaded", N_("Provider \"%s\" is loaded."), provider));
        }
    }
    for (const TokenInfo& token : before.tokens) {
        if ((token.*field::serial).empty() || find(now.tokens, token)) continue;
        events.push_back(missedOf(Notification::tokenRemoved, token));
    }
    for (const TokenInfo& token : now.tokens) {
        if (!(token.*field::serial).empty()) compareToken(find(before.tokens, token), token, events);
    }
    compareSections(before, now, events);
    if (before.policy && now.policy) comparePolicies(*before.policy, *now.policy, events);
    for (WatchEvent& event : differences(before.tunnels, now.tunnels)) events.push_back(std::move(event));
    return events;
}

ordered_json toJson(const WatchEvent& event) {
    ordered_json json{
        {"schema", 1}, {"time", platform::isoText(event.time)}, {"event", event.name}, {"missed", event.missed}};
    json["number"] = event.number == 0 ? ordered_json(nullptr) : ordered_json(event.number);
    json.update(event.details);
    return json;
}

std::string toLine(const WatchEvent& event) {
    char buffer[panelkit::PlainTimeTextSize] = "";
    const std::string when = panelkit::plainTimeToLocalText(static_cast<panelkit::PlainTime>(event.time), buffer);
    return when + "  " + (event.missed ? say("Meanwhile: %s", event.text) : event.text);
}

} // namespace panelctl
