// SPDX-License-Identifier: MIT
//
// panelctl watch: reports events in the service until it is stopped. It continues when the service ends: after the
// service has started again, what happened meanwhile is reported from the differences between two states.
#include <panelctl/base/endings.h>
#include <panelctl/base/exit_codes.h>
#include <panelctl/base/mistakes.h>
#include <panelctl/base/output.h>
#include <panelctl/base/verbs.h>
#include <panelctl/watch/watch_events.h>
#include <panelctl/watch/watched_tunnels.h>

#include <panelkit/bridge/sessions_pool.h>
#include <panelkit/lparams/sections/sections.h>
#include <panelkit/lsp/lsp_controller.h>
#include <panelkit/notifications/notifications_listener.h>
#include <panelkit/tokens/tokens_controller.h>
#include <platform/system/guarded.h>
#include <platform/system/wipe.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <thread>

namespace panelctl {

using Clock = std::chrono::steady_clock;
using vocabulary::Notification;

namespace {

struct Attached {};
struct Detached {};
using News = std::variant<Attached, Detached, Heard>;

// A queue of news from the receiver's threads to the thread that reports them.
class Inbox {
public:
    void add(News news) {
        held_.lock()->news.push_back(std::move(news));
        changed_.notify_all();
    }
    void end() {
        held_.lock()->ended = true;
        changed_.notify_all();
    }

    // Waits for news. Returns none when it is time to end.
    std::deque<News> take(std::optional<Clock::time_point> deadline) {
        auto held = held_.lock();
        const auto something = [&] { return held->ended || !held->news.empty(); };
        if (deadline) {
            held.waitUntil(changed_, *deadline, something);
        } else {
            held.wait(changed_, something);
        }
        if (held->ended || held->news.empty()) return {};
        // Notifications may arrive out of order within this time.
        held.unlocked([] { std::this_thread::sleep_for(settling); });
        return inOrder(std::exchange(held->news, {}));
    }

private:
    static constexpr auto settling = std::chrono::milliseconds(20);

    // Sorts notifications by number, between one attach or detach of the service and the next.
    static std::deque<News> inOrder(std::deque<News> news) {
        const auto isHeard = [](const News& one) { return std::holds_alternative<Heard>(one); };
        for (auto begin = news.begin(); begin != news.end();) {
            const auto end = std::find_if_not(begin, news.end(), isHeard);
            std::stable_sort(begin, end, [](const News& one, const News& other) {
                return std::get<Heard>(one).moment().number < std::get<Heard>(other).moment().number;
            });
            begin = end == news.end() ? end : std::next(end);
        }
        return news;
    }

    struct Held {
        std::deque<News> news;
        bool ended = false;
    };
    platform::Guarded<Held> held_;
    std::condition_variable changed_;
};

// Listens to notifications during its lifetime.
class Ear {
public:
    explicit Ear(Inbox& inbox) : dispatcher_(inbox) {
        for (const Notification id : vocabulary::allNotifications) {
            handlers_.push_back(std::make_unique<Handler>(id, inbox));
        }
        VpnNotificationsListener::init(&dispatcher_);
    }
    ~Ear() { VpnNotificationsListener::fini(); }
    Ear(const Ear&) = delete;
    Ear& operator=(const Ear&) = delete;

private:
    class Handler : public VpnNotificationHandler {
    public:
        Handler(Notification id, Inbox& inbox) : VpnNotificationHandler(idOf(id)), id_(id), inbox_(inbox) {
            SetNoNeedGui();
        }
        bool handle(CommandStreamIn& payload, CommandStreamOut&) override {
            inbox_.add(readHeard(id_, payload));
            return true;
        }

    private:
        Notification id_;
        Inbox& inbox_;
    };
    class Dispatcher final : public VpnNotificationsDispatcher {
    public:
        explicit Dispatcher(Inbox& inbox) : inbox_(inbox) {}
        void handleServerAttachNotification() override { inbox_.add(Attached{}); }
        void handleServerDetachNotification() override { inbox_.add(Detached{}); }

    private:
        Inbox& inbox_;
    };

    std::vector<std::unique_ptr<Handler>> handlers_;
    Dispatcher dispatcher_;
};

// A section that can't be read is left out.
std::map<std::string, std::size_t> readSections() {
    std::map<std::string, std::size_t> hashes;
    for (const panelkit::Section& section : panelkit::sections()) {
        try {
            const auto group = section.make();
            if (!group->load()) continue;
            std::string body;
            const platform::WipeOnExit wiped(body); // it holds a password
            CommandStreamOut out(body);
            group->save(out);
            hashes[section.name] = std::hash<std::string>{}(body);
        } catch (const char*) { // the stream's error: a service with other parameters
            continue;
        }
    }
    return hashes;
}

std::optional<WatchedPolicy> readPolicy() {
    WatchedPolicy policy;
    LSPController controller;
    if (!controller.cmdGetPolicyInfo(policy.inForce, policy.required, nullptr, nullptr, false)) return std::nullopt;
    return policy;
}

// Nothing when the service can't be asked now. Throws CommandError when it will never be possible.
std::optional<WatchedState> lookAtService() {
    using bridge::FailureCode;
    for (const SessionId_t id : {SessionTokens, SessionParameters, SessionPolicy, SessionMonitor}) {
        SessionsPool::CloseSession(id); // its service may have ended
    }
    CLIVpnTokensController controller;
    WatchedState state;
    if (controller.EnumProviders(state.providers) && controller.EnumProviderTokens(nullptr, state.tokens)) {
        state.sections = readSections();
        state.policy = readPolicy();
        state.tunnels = readTunnels();
        return state;
    }
    const FailureCode code = bridge::lastFailure().code;
    const bool passing = code == FailureCode::noService || code == FailureCode::timedOut ||
                         code == FailureCode::connectionLost || code == FailureCode::overloaded ||
                         code == FailureCode::refused;
    if (!passing) throw lastFailureError();
    return std::nullopt;
}

// The same for a service that is attached. It is tried twice, since the service may have been busy.
std::optional<WatchedState> lookAgain() {
    constexpr auto pause = std::chrono::milliseconds(300);
    if (auto state = lookAtService()) return state;
    std::this_thread::sleep_for(pause);
    return lookAtService();
}

// Prints events as they come, and keeps the state of the service.
class Reporter {
public:
    Reporter(bool json, std::optional<unsigned> count) : json_(json), left_(count), known_(lookAtService()) {
        wasThere_ = known_ || bridge::lastFailure().code == bridge::FailureCode::refused;
        printNote(wasThere_ ? say("Watching; press Ctrl-C to stop.")
                            : say("The service is not running; waiting for it. Press Ctrl-C to stop."));
    }

    // Returns false when enough events were reported, or the reader of standard output has gone.
    bool report(const News& news) {
        if (const auto* heard = std::get_if<Heard>(&news)) {
            if (known_) takeOver(*heard);
            return print(describe(*heard));
        }
        return std::holds_alternative<Attached>(news) ? reportAttached() : reportDetached();
    }

private:
    void takeOver(const Heard& heard) {
        known_->apply(heard);
        if (heard.id == Notification::configurationCommitted) known_->sections = readSections();
        if (std::holds_alternative<vocabulary::PolicyNotice>(heard.notice)) known_->policy = readPolicy();
        if (const auto* tunnel = std::get_if<vocabulary::TunnelNotice>(&heard.notice)) {
            panelctl::takeOver(known_->tunnels, heard.id == Notification::tunnelUp, *tunnel, readTunnels());
        } else if (!known_->tunnels) {
            known_->tunnels = readTunnels();
        }
    }

    // The first attach is not reported when the service was running at the start.
    bool reportAttached() {
        if (!wasThere_ && !print(serviceCame())) return false;
        wasThere_ = true;
        const std::optional<WatchedState> now = lookAgain();
        if (!now) return true; // it was lost again; the next attach reports
        const std::optional<WatchedState> before = std::exchange(known_, now);
        if (!before) return true;
        for (const WatchEvent& event : differences(*before, *now)) {
            if (!print(event)) return false;
        }
        return true;
    }
    bool reportDetached() {
        wasThere_ = false;
        return print(serviceWent());
    }
    bool print(const WatchEvent& event) {
        if (json_) {
            printJsonLine(toJson(event));
        } else {
            printLine(toLine(event));
        }
        return flushOutput() && (!left_ || --*left_ > 0);
    }

    bool json_;
    std::optional<unsigned> left_;
    std::optional<WatchedState> known_;
    bool wasThere_ = false;
};

struct Watch {
    std::optional<double> seconds;
    std::optional<unsigned> count;

    void options(CLI::App& verb) {
        verb.add_option("--for", seconds, say("Stop after this many seconds"))
            ->type_name("SECONDS")
            ->check(numberBetween(0, 1'000'000'000));
        verb.add_option("--count", count, say("Stop after this many events"))
            ->type_name("N")
            ->check(numberBetween(1, ~0U));
    }
    void run(const Context& context) const {
        std::optional<Clock::time_point> deadline;
        if (seconds) deadline = Clock::now() + std::chrono::milliseconds(static_cast<std::int64_t>(*seconds * 1000));
        Inbox inbox;
        const Endings endings([&inbox] { inbox.end(); });
        Reporter reporter(context.json, count);
        const Ear ear(inbox);
        for (;;) {
            const std::deque<News> all = inbox.take(deadline);
            if (all.empty()) return;
            for (const News& news : all) {
                if (!reporter.report(news)) return;
            }
        }
    }
};

} // namespace

// The group is the verb.
void addWatchVerbs(CLI::App& group, const Context& context) {
    auto watch = std::make_shared<Watch>();
    group.require_subcommand(0);
    watch->options(group);
    group.callback([watch, &context] { watch->run(context); });
}

} // namespace panelctl
