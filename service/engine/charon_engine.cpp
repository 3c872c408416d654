// SPDX-License-Identifier: MIT
#include <service/engine/charon_engine.h>

#include <service/base/log.h>
#include <service/base/rounds.h>
#include <service/engine/charon_driver.h>
#include <service/engine/filter_keeper.h>
#include <service/engine/gateway_names.h>

#include <platform/system/guarded.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace panelkitd {

using panelkit::TunnelAction;
using panelkit::TunnelInfo;
using vocabulary::Refused;

namespace {

constexpr auto soon = std::chrono::seconds(2); // while a tunnel is down
constexpr auto later = std::chrono::seconds(10);
constexpr auto timeForLogOut = std::chrono::seconds(3);
constexpr auto timeForNames = std::chrono::seconds(5);

// A log-in may come later; a certificate that does not fit must be noticed by who activates the policy.
void requireCredentials(const IkePlan& plan) {
    for (const IkeConnection& connection : plan.connections) {
        if (connection.lacks && !connection.mayCome) throw notInForce(connection, {*connection.lacks});
    }
}

void requireGateways(const IkePlan& plan) {
    std::vector<std::string> names;
    for (const IkeConnection& connection : plan.connections) names.push_back(connection.gateway);
    const auto unknown = firstUnknownName(names, timeForNames);
    if (!unknown) return;
    const IkeConnection& connection = plan.connections[*unknown];
    throw notInForce(connection,
                     {remark(Refused::none, "the address of the gateway %s can't be found", connection.gateway)});
}

class CharonEngine : public Engine {
public:
    CharonEngine(CharonSettings settings, bool espInUserSpace, const FilterMaker& makeFilter)
        : news_(std::move(settings.news)),
          socket_(settings.socket),
          filter_(makeFilter(settings.filter)),
          driver_({settings.folder, settings.program, settings.socket, settings.filter.mark, espInUserSpace,
                   settings.patience},
                  board_, [this] { rounds_.ask(); }),
          rounds_([this](bool) { return round(); }, later) {
        wishes_.lock()->parameters = std::move(settings.parameters);
    }
    ~CharonEngine() override {
        rounds_.stop(std::chrono::hours(1));
        const std::scoped_lock driving(driving_);
        driver_.drop();
    }

    const char* name() const override { return "charon"; }
    bool protectsTraffic() const override { return true; }
    Remarks condition() const override;
    Remarks problems() const override;
    void apply(const EnginePolicy& policy) override;
    std::vector<TunnelInfo> tunnels() const override;
    void act(TunnelAction action, const std::string& section) override;
    void credentialsChanged(const EngineCredentials& credentials) override;
    void parametersChanged(const EngineParameters& parameters) override;
    void tokenLoggedIn(const EngineToken& token, const platform::Secret& pin) override;
    void tokenLoggedOut(const EngineToken& token) override;

private:
    EngineWishes wishes() const { return *wishes_.lock(); }
    std::chrono::milliseconds round();
    void prepare(const EnginePolicy& policy, IkePlan& plan);
    const IkeConnection& connectionOf(const std::string& section) const;
    static void requireCredential(const IkeConnection& connection);
    void tell(const std::vector<TunnelNews>& news) const;

    struct RoundCount {
        std::uint64_t begun = 0;
        std::uint64_t ended = 0;
    };

    const std::function<void(const TunnelNews&)> news_;
    const std::string socket_; // of a daemon that is not ours; else empty
    FilterKeeper filter_;
    platform::Guarded<RoundCount> roundsDone_;
    std::condition_variable roundEnded_;
    platform::Guarded<EngineWishes> wishes_;
    platform::Guarded<Remarks> problem_;
    TunnelBoard board_;
    mutable std::mutex driving_;    // held while the daemon or the filter is changed
    std::string owner_;             // of the policy; used with it, as the next ones
    std::vector<TunnelNews> ended_; // with the former policy
    TunnelNewsLimit limit_;
    CharonDriver driver_;
    Rounds rounds_; // last: its thread uses all of it
};

Remarks CharonEngine::problems() const {
    Remarks problem = *problem_.lock();
    if (!filter_.counts()) {
        problem.push_back(remark(Refused::none, "the packet filter is not there or can't be read: perhaps nothing is "
                                                "filtered"));
    }
    return problem;
}

Remarks CharonEngine::condition() const {
    if (Remarks problem = problems(); !problem.empty()) return problem;
    const bridge::Remark fine = remark(Refused::none, "traffic is filtered and protected as the policy says");
    if (socket_.empty()) return {fine};
    return {fine, remark(Refused::none,
                         "the IKE daemon at %s has settings and modules of its own; parameters that go into such "
                         "settings have no effect on it",
                         socket_)};
}

// What resumes at the start must not depend on the network, on tokens, or on the daemon: the filter comes first then.
void CharonEngine::prepare(const EnginePolicy& policy, IkePlan& plan) {
    const EngineWishes wanted = wishes();
    if (!policy.resumed) {
        requireCredentials(plan);
        requireGateways(plan);
    }
    try {
        driver_.prepare(plan, wanted);
    } catch (const EngineError& error) {
        if (!policy.resumed) throw;
        logFailure("the policy is in force without its tunnels", error);
    }
}

void CharonEngine::apply(const EnginePolicy& policy) {
    const std::scoped_lock driving(driving_);
    auto text = std::make_shared<const PolicyText>(policy.text.value_or(PolicyText()));
    IkePlan plan = driver_.plan(std::move(text), wishes());
    prepare(policy, plan);
    try {
        filter_.replace(policy);
    } catch (...) {
        driver_.takeBack();
        throw;
    }
    board_.setPlan(plan.connections, true);
    for (TunnelNews& one : board_.takeNews()) {
        one.owner = owner_; // of the former policy
        ended_.push_back(std::move(one));
    }
    owner_ = policy.owner;
    driver_.adopt(std::move(plan));
    rounds_.ask();
}

std::chrono::milliseconds CharonEngine::round() {
    std::vector<TunnelNews> news;
    bool held = false;
    const std::uint64_t number = ++roundsDone_.lock()->begun;
    {
        const std::scoped_lock driving(driving_);
        filter_.lookAfter(std::chrono::steady_clock::now());
        news = std::exchange(ended_, {});
        for (TunnelNews& one : driver_.round(wishes())) {
            one.owner = owner_;
            news.push_back(std::move(one));
        }
        news = limit_.toTell(news, TunnelNewsLimit::Clock::now());
        held = limit_.holds();
        const auto& problem = driver_.problem();
        *problem_.lock() =
            problem ? Remarks{remark(Refused::none, "the IKE daemon can't be used"), *problem} : Remarks();
    }
    roundsDone_.lock()->ended = number;
    roundEnded_.notify_all();
    tell(news);
    const auto all = board_.tunnels();
    const bool anyDown = std::any_of(all.begin(), all.end(), [](const TunnelInfo& tunnel) {
        return tunnel.condition != panelkit::TunnelCondition::up;
    });
    return anyDown || held ? soon : later;
}

void CharonEngine::tell(const std::vector<TunnelNews>& news) const {
    for (const TunnelNews& one : news) {
        const std::string often = one.changes == 1 ? "" : " after " + std::to_string(one.changes) + " changes";
        logEvent("the tunnel of section [" + one.section + "] is " + (one.up ? "up" : "down") + often +
                 (one.why.empty() ? "" : ": " + inEnglish(one.why)));
        if (news_) news_(one);
    }
}

// ---- tunnels

// The present state, unless the daemon is busy: then that of a moment ago. The filter counts in the order of sections.
std::vector<TunnelInfo> CharonEngine::tunnels() const {
    std::vector<TunnelInfo> tunnels = board_.tunnels();
    const auto counts = filter_.counts();
    std::shared_ptr<const PolicyText> text;
    {
        const std::unique_lock driving(driving_, std::try_to_lock);
        if (driving) text = driver_.adopted().text;
    }
    if (!counts || !text || counts->size() != text->sections.size()) return tunnels;
    for (std::size_t i = 0; i < counts->size(); ++i) {
        for (TunnelInfo& tunnel : tunnels) {
            if (tunnel.section == text->sections[i].name) tunnel.dropped = (*counts)[i].dropped;
        }
    }
    return tunnels;
}

const IkeConnection& CharonEngine::connectionOf(const std::string& section) const {
    for (const IkeConnection& connection : driver_.adopted().connections) {
        for (const IkeChild& child : connection.children) {
            if (child.section->name == section) return connection;
        }
    }
    throw EngineError({remark(Refused::noSuchObject, "the policy in force has no tunnel \"%s\"", section)});
}

void CharonEngine::requireCredential(const IkeConnection& connection) {
    if (connection.lacks) throw EngineError({*connection.lacks});
}

void CharonEngine::act(TunnelAction action, const std::string& section) {
    const std::scoped_lock driving(driving_);
    const IkeConnection& connection = connectionOf(section);
    try {
        if (action == TunnelAction::down) {
            board_.turn(section, true);
            driver_.control().endTunnel(connection.name, section);
        } else {
            requireCredential(connection);
            if (action == TunnelAction::up) driver_.turnOn(connection, section);
            if (action == TunnelAction::rekey) driver_.control().rekey(connection.name, section);
        }
    } catch (const ViciRefusal& refusal) {
        throw EngineError({remark(Refused::none, "the IKE daemon refuses: %s", refusal.what())});
    } catch (const ViciError& error) {
        driver_.drop();
        throw EngineError({remark(Refused::none, "%s", error.what())});
    }
    rounds_.ask();
}

// ---- wishes

void CharonEngine::credentialsChanged(const EngineCredentials& credentials) {
    wishes_.lock()->learn(credentials);
    rounds_.ask();
}

void CharonEngine::parametersChanged(const EngineParameters& parameters) {
    wishes_.lock()->parameters = parameters;
    rounds_.ask();
}

void CharonEngine::tokenLoggedIn(const EngineToken& token, const platform::Secret& pin) {
    {
        const auto wishes = wishes_.lock();
        std::erase_if(wishes->logins, [&](const auto& login) { return login.token.is(token); });
        wishes->logins.push_back({token, pin, ++wishes->loginsSoFar});
    }
    rounds_.ask();
}

void CharonEngine::tokenLoggedOut(const EngineToken& token) {
    wishes_.lock()->forget(token);
    auto done = roundsDone_.lock();
    const std::uint64_t wanted = done->begun + 1; // a round under way may have read the wishes before
    rounds_.ask();
    if (!done.waitFor(roundEnded_, timeForLogOut, [&] { return done->ended >= wanted; })) {
        logError("the IKE daemon is busy and may use the keys of the token \"" + token.label +
                 "\" for some seconds more");
    }
}

} // namespace

std::unique_ptr<Engine> makeCharonEngine(CharonSettings settings, const FilterMaker& makeFilter) {
    const bool espInUserSpace = !kernelHasEsp();
    settings.filter.esp = espInUserSpace ? EspPlace::userSpace : EspPlace::kernel;
    return std::make_unique<CharonEngine>(std::move(settings), espInUserSpace, makeFilter);
}

} // namespace panelkitd
