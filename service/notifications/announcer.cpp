// SPDX-License-Identifier: MIT
#include <service/notifications/announcer.h>

#include <service/base/log.h>

#include <panelkit/bridge/command_stream.h>
#include <panelkit/bridge/commands.h>
#include <platform/bridge/server.h>
#include <platform/system/clock.h>

#include <chrono>
#include <type_traits>
#include <utility>

namespace panelkitd {

using bridge::server::PushOutcome;
using PKCS11::TokenInfo;
using vocabulary::Notification;

namespace {

// How long the service waits at its end until front ends have received the announcements.
constexpr auto partingWait = std::chrono::seconds(1);

void noteOutcome(Notification id, PushOutcome outcome) {
    const std::string number = std::to_string(static_cast<std::int32_t>(id));
    // Most front ends handle only some kinds of notifications and refuse the others.
    if (outcome == PushOutcome::notHandled) logDebug("a front end did not handle notification " + number);
    if (outcome == PushOutcome::lost) logDetail("a front end left before it answered notification " + number);
}

std::vector<vocabulary::NoticeRemark> recordsOf(const Remarks& why) {
    std::vector<vocabulary::NoticeRemark> remarks;
    for (const auto& [code, phrase] : bridge::fitted(why)) remarks.push_back({code, phrase.wording, phrase.arguments});
    return remarks;
}

} // namespace

template <Notification id, class Notice, class... More>
void Announcer::announce(Notice notice, const More&... more) {
    static_assert(std::is_same_v<vocabulary::PayloadOf<id>, panelkit::Fields<Notice, More...>>);
    const auto line = line_.lock(); // numbers go out in their order
    notice.moment = {platform::secondsNow(), ++line->lastNumber};
    bridge::server::Push push;
    push.module = ModuleNotifications;
    push.id = static_cast<std::int32_t>(id);
    CommandStreamOut(push.payload).append(notice, more...);
    push.answered = [](PushOutcome outcome, const std::string&) { noteOutcome(id, outcome); };
    if (line->server) line->server->push(std::move(push));
}

void Announcer::announceTokenArrived(const TokenInfo& token) {
    announce<Notification::tokenArrived>(vocabulary::TokenNotice{{}, token});
}

void Announcer::announceTokenRemoved(const TokenInfo& token) {
    announce<Notification::tokenRemoved>(vocabulary::TokenNotice{{}, token});
}

void Announcer::announceTokenInitialized(const TokenInfo& token) {
    announce<Notification::tokenInitialized>(vocabulary::TokenNotice{{}, token});
}

void Announcer::announceTokenLoggedIn(const TokenInfo& token) {
    announce<Notification::tokenLoggedIn>(vocabulary::TokenNotice{{}, token});
}

void Announcer::announceTokenLoggedOut(const TokenInfo& token) {
    announce<Notification::tokenLoggedOut>(vocabulary::TokenNotice{{}, token});
}

void Announcer::announceConfigurationCommitted(const std::string& user, const std::vector<std::string>& sections) {
    announce<Notification::configurationCommitted>(vocabulary::ConfigurationNotice{{}, user, sections});
}

void Announcer::announcePolicyActivated(const std::string& source, const std::string& policy, const std::string& user) {
    announce<Notification::policyActivated>(vocabulary::PolicyNotice{{}, source, policy, user, {}});
}

void Announcer::announcePolicyFailed(const std::string& source, const std::string& policy, const std::string& reason,
                                     const Remarks& why, const std::string& user) {
    announce<Notification::policyFailed>(vocabulary::PolicyNotice{{}, source, policy, user, reason}, recordsOf(why));
}

void Announcer::announceTunnelUp(vocabulary::TunnelNotice notice) {
    announce<Notification::tunnelUp>(std::move(notice));
}

void Announcer::announceTunnelDown(vocabulary::TunnelNotice notice, const Remarks& why) {
    notice.reason = inEnglish(why);
    announce<Notification::tunnelDown>(std::move(notice), recordsOf(why));
}

void Announcer::announceCertificateExpiring(const TokenInfo& token, const CertInfo& certificate, int daysLeft) {
    announce<Notification::certificateExpiring>(vocabulary::CertificateNotice{{}, token, certificate, daysLeft});
}

void Announcer::announceServiceStopping() {
    announce<Notification::serviceStopping>(vocabulary::StoppingNotice{});
    auto line = line_.lock();
    bridge::server::Server* const server = line->server;
    if (!server || line->draining) return;
    line->draining = true;
    line.unlocked([&] { server->drainPushes(partingWait); });
    line->draining = false;
    drained_.notify_all();
}

AnnouncingThrough::AnnouncingThrough(Announcer& announcer, bridge::server::Server& server) : announcer_(announcer) {
    announcer_.line_.lock()->server = &server;
}

// The server ends after this object, and must not be in use then.
AnnouncingThrough::~AnnouncingThrough() {
    auto line = announcer_.line_.lock();
    line.wait(announcer_.drained_, [&] { return !line->draining; });
    line->server = nullptr;
}

} // namespace panelkitd
