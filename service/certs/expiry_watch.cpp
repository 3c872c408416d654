// SPDX-License-Identifier: MIT
#include <service/certs/expiry_watch.h>

#include <service/base/log.h>

#include <platform/system/clock.h>
#include <platform/system/host.h>
#include <vocabulary/certs.h>

#include <algorithm>
#include <ctime>
#include <utility>

namespace panelkitd {

namespace {

constexpr std::int64_t day = 86'400;

std::int64_t secondOfDay(const std::tm& time) { return (time.tm_hour * 60 + time.tm_min) * 60 + time.tm_sec; }

} // namespace

std::optional<int> daysLeft(const CertInfo& certificate, std::int64_t now, const ExpirySettings& settings) {
    const bool unreadable = certificate.state == static_cast<std::uint32_t>(vocabulary::CertState::unreadable);
    const auto end = static_cast<std::int64_t>(certificate.notAfter);
    if (unreadable || end < 0 || end > now + settings.days * day) return std::nullopt;
    const std::int64_t left = end - now;
    return static_cast<int>(left >= 0 ? left / day : -1 - (-1 - left) / day);
}

ExpiryWatch::ExpiryWatch(Source source, Announcer& announcer, ExpirySettings settings,
                         std::chrono::milliseconds firstPause, std::chrono::milliseconds longestPause)
    : source_(std::move(source)),
      announcer_(announcer),
      longestPause_(longestPause),
      plan_(Plan{settings}),
      rounds_([this](bool) { return look(); }, firstPause) {}

void ExpiryWatch::set(const ExpirySettings& settings) {
    const auto plan = plan_.lock();
    if (settings == plan->settings) return;
    *plan = {settings};
    rounds_.ask();
}

std::chrono::milliseconds ExpiryWatch::look() {
    const auto local = platform::localTime(platform::secondsNow<std::int64_t>());
    if (!local) return longestPause_;
    auto plan = plan_.lock();
    const ExpirySettings settings = plan->settings;
    const std::int64_t untilTime = settings.timeOfDay.count() - secondOfDay(*local);
    const bool due = settings.enabled && untilTime <= 0 && plan->doneOn != local->tm_yday;
    if (due) plan->doneOn = local->tm_yday;
    bool announced = true;
    plan.unlocked([&] { announced = !due || announceAll(settings); });
    if (!announced) plan->doneOn = -1; // after the next pause again
    const std::chrono::seconds next(untilTime > 0 ? untilTime : untilTime + day);
    return std::min<std::chrono::milliseconds>(next, longestPause_);
}

bool ExpiryWatch::announceAll(const ExpirySettings& settings) const {
    try {
        const std::int64_t now = platform::secondsNow<std::int64_t>();
        for (const WatchedCertificate& watched : source_()) {
            const auto left = daysLeft(watched.certificate, now, settings);
            if (left) announcer_.announceCertificateExpiring(watched.token, watched.certificate, *left);
        }
        return true;
    } catch (const std::exception& error) {
        logFailure("looking for certificates that expire", error);
        return false;
    }
}

} // namespace panelkitd
