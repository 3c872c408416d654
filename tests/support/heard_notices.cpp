// SPDX-License-Identifier: MIT
#include "heard_notices.h"

#include <algorithm>

using vocabulary::Notification;
using namespace std::chrono_literals;

class HeardNotices::Handler : public VpnNotificationHandler {
public:
    Handler(HeardNotices& heard, Notification id)
        : VpnNotificationHandler(vocabulary::idOf(id)), heard_(heard), id_(id) {}
    bool handle(CommandStreamIn& payload, CommandStreamOut&) override {
        Notice notice{id_, {}, {}, {}};
        if (id_ <= Notification::tokenLoggedOut) payload >> notice.token;
        if (id_ == Notification::certificateExpiring) payload >> notice.certificate;
        if (id_ == Notification::policyActivated || id_ == Notification::policyFailed) payload >> notice.policy;
        std::unique_lock lock(heard_.mutex_);
        heard_.notices_.push_back(std::move(notice));
        heard_.changed_.notify_all();
        heard_.changed_.wait(lock, [this] { return !heard_.held_; });
        return true;
    }

private:
    HeardNotices& heard_;
    Notification id_;
};

HeardNotices::HeardNotices() {
    for (const Notification id : vocabulary::allNotifications) {
        handlers_.push_back(std::make_unique<Handler>(*this, id));
    }
    VpnNotificationsListener::init(this);
}

HeardNotices::~HeardNotices() {
    letAnswersGo();
    VpnNotificationsListener::fini();
}

std::optional<HeardNotices::Notice> HeardNotices::next(Notification kind) {
    std::unique_lock lock(mutex_);
    auto found = notices_.end();
    const bool came = changed_.wait_for(lock, 10s, [&] {
        found = std::ranges::find(notices_, kind, &Notice::id);
        return found != notices_.end();
    });
    if (!came) return std::nullopt;
    Notice notice = std::move(*found);
    notices_.erase(found);
    return notice;
}

bool HeardNotices::silentFor(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex_);
    return !changed_.wait_for(lock, time, [this] { return !notices_.empty(); });
}

void HeardNotices::hold(bool answers) {
    const std::scoped_lock lock(mutex_);
    held_ = answers;
    changed_.notify_all();
}
