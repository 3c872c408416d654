// SPDX-License-Identifier: MIT
#include "heard_notices.h"

#include <panelkit/notifications/notifications_listener.h>

#include <algorithm>
#include <condition_variable>
#include <list>
#include <mutex>
#include <vector>

using vocabulary::Notification;

namespace {

constexpr auto patience = std::chrono::seconds(10);

} // namespace

struct HeardNotices::State {
    std::mutex mutex; // guards what follows
    std::condition_variable changed;
    std::list<Notice> notices;
    int attached = 0;
    int detached = 0;
    bool held = false;

    void add(Notice notice) {
        std::unique_lock lock(mutex);
        notices.push_back(std::move(notice));
        changed.notify_all();
        changed.wait(lock, [this] { return !held; });
    }
    void count(int& counter) {
        const std::scoped_lock lock(mutex);
        ++counter;
        changed.notify_all();
    }
    template <class Condition>
    bool waitFor(Condition condition, std::chrono::milliseconds time = patience) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, time, condition);
    }

    class Handler : public VpnNotificationHandler {
    public:
        Handler(State& state, Notification id) : VpnNotificationHandler(vocabulary::idOf(id)), state_(state), id_(id) {}
        bool handle(CommandStreamIn& payload, CommandStreamOut&) override {
            Notice notice{id_, {}, {}, {}};
            if (id_ <= Notification::tokenLoggedOut) payload >> notice.token;
            if (id_ == Notification::certificateExpiring) payload >> notice.certificate;
            if (id_ == Notification::policyActivated || id_ == Notification::policyFailed) payload >> notice.policy;
            state_.add(std::move(notice));
            return true;
        }

    private:
        State& state_;
        Notification id_;
    };
    class Dispatcher final : public VpnNotificationsDispatcher {
    public:
        explicit Dispatcher(State& state) : state_(state) {}
        void handleServerAttachNotification() override { state_.count(state_.attached); }
        void handleServerDetachNotification() override { state_.count(state_.detached); }

    private:
        State& state_;
    };

    std::vector<std::unique_ptr<Handler>> handlers;
    Dispatcher dispatcher{*this};
};

HeardNotices::HeardNotices() : state_(std::make_unique<State>()) {
    for (const Notification id : vocabulary::allNotifications) {
        state_->handlers.push_back(std::make_unique<State::Handler>(*state_, id));
    }
    VpnNotificationsListener::init(&state_->dispatcher);
}

HeardNotices::~HeardNotices() {
    letAnswersGo();
    VpnNotificationsListener::fini();
}

std::optional<HeardNotices::Notice> HeardNotices::next(Notification kind) {
    std::list<Notice>& notices = state_->notices;
    auto found = notices.end();
    const bool came = state_->waitFor([&] {
        found = std::find_if(notices.begin(), notices.end(), [&](const Notice& notice) { return notice.id == kind; });
        return found != notices.end();
    });
    if (!came) return std::nullopt;
    const std::scoped_lock lock(state_->mutex);
    Notice notice = std::move(*found);
    notices.erase(found);
    return notice;
}

bool HeardNotices::silentFor(std::chrono::milliseconds time) {
    return !state_->waitFor([this] { return !state_->notices.empty(); }, time);
}

int HeardNotices::attached() const {
    const std::scoped_lock lock(state_->mutex);
    return state_->attached;
}

int HeardNotices::detached() const {
    const std::scoped_lock lock(state_->mutex);
    return state_->detached;
}

bool HeardNotices::waitForAttached(int count) {
    return state_->waitFor([&] { return state_->attached >= count; });
}

bool HeardNotices::waitForDetached(int count) {
    return state_->waitFor([&] { return state_->detached >= count; });
}

void HeardNotices::holdAnswers() {
    const std::scoped_lock lock(state_->mutex);
    state_->held = true;
}

void HeardNotices::letAnswersGo() {
    const std::scoped_lock lock(state_->mutex);
    state_->held = false;
    state_->changed.notify_all();
}
