// SPDX-License-Identifier: MIT
#include <service/policy/policies.h>

#include <service/base/log.h>
#include <service/base/refused.h>
#include <service/policy/activation.h>
#include <service/policy/enforcement.h>

#include <platform/system/clock.h>
#include <platform/system/files.h>
#include <vocabulary/policy.h>

#include <utility>

namespace panelkitd {

using LSPcmd::LSPsettings_t;
using std::chrono::steady_clock;
using vocabulary::Refused;
namespace settingsField = vocabulary::policySettings;

namespace {

WantedPolicy namedBy(WantedPolicy wanted, const std::string& name, const std::string& by) {
    wanted.name = name;
    wanted.by = by;
    return wanted;
}

} // namespace

Policies::Policies(const StateFolder& folder, const Credentials& credentials, Engine& engine,
                   std::function<void(const PolicyNews&)> news)
    : credentials_(credentials),
      engine_(engine),
      news_(std::move(news)),
      file_(policyFile(folder)),
      memory_(Memory{loadPolicyState(file_)}) {
    try {
        const auto memory = memory_.lock();
        if (resume(memory->state, platform::secondsNow<std::int64_t>())) savePolicyState(file_, memory->state);
    } catch (const std::exception& error) { // the next start resumes once more
        logFailure("the stored policy", error);
    }
    startEngine();
    loader_ = std::thread([this] { waitForLoading(); });
}

Policies::~Policies() {
    memory_.lock()->ending = true;
    changed_.notify_all();
    loader_.join();
}

// ---- reading

// Tokens and the engine are asked without the lock: a slow one must not delay other requests.
PolicyReport Policies::report() const {
    PolicyReport report;
    std::optional<PolicyText> settled; // it is loaded, and the last activation did not fail
    {
        const auto memory = memory_.lock();
        const PolicyState& state = memory->state;
        report = reportOf(state, memory->notTaken);
        if (!state.loading && !state.failed && memory->notTaken.empty()) settled = state.inForce.text;
    }
    if (settled) {
        addDiagnosis(*settled, engine_, credentials_, platform::secondsNow<std::int64_t>(), report, file_.remarks());
    }
    return report;
}

LoadedPolicy Policies::inForce() const { return memory_.lock()->state.inForce; }

WantedPolicy Policies::required() const { return memory_.lock()->state.required; }

// ---- changes

// Engine, disk, memory: a change that one of them does not take has no effect in the others. `work` returns whether
// another policy comes into force. If the engine does not take it, what is stored is a failed activation. changing_ is
// held.
void Policies::change(const std::string& account, const std::function<bool(PolicyState&)>& work) {
    file_.requireUsable();
    const PolicyState before = memory_.lock()->state;
    PolicyState next = before;
    const bool another = work(next);
    if (!account.empty()) requireShare(before, next, account);
    const bool taken = another && putIntoForce(next, before);
    store(next, before, taken);
    const auto memory = memory_.lock();
    memory->state = std::move(next);
    if (taken) memory->notTaken.clear();
}

bool Policies::putIntoForce(PolicyState& next, const PolicyState& before) {
    Remarks why;
    if (engine_.protectsTraffic()) credentials_.list(); // so that the engine knows what is on tokens now
    if (takenBy(engine_, next.inForce, false, why)) return true;
    failActivation(next, before, why);
    return false;
}

void Policies::store(const PolicyState& next, const PolicyState& before, bool taken) {
    try {
        savePolicyState(file_, next);
    } catch (const platform::FileError&) {
        if (taken) putBack(before.inForce);
        throw RefusedError(Refused::notStored, "the service can't store the change; its log says why");
    } catch (...) {
        if (taken) putBack(before.inForce);
        throw;
    }
}

void Policies::putBack(const LoadedPolicy& former) {
    Remarks why;
    if (takenBy(engine_, former, true, why)) return;
    logError("the former policy can't be put back: " + inEnglish(why));
    {
        const auto memory = memory_.lock();
        memory->notTaken = why;
        memory->due = steady_clock::now() + retryInterval;
    }
    changed_.notify_all();
    tell(newsOfInForce(former, why));
}

// What was changed has been stored: only the news is lost if there is no memory for it.
void Policies::tell(const PolicyNews& news) const {
    try {
        if (news_) news_(forEverybody(news));
    } catch (const std::exception& error) {
        logFailure("announcing a policy", error);
    }
}

Policies::Outcome Policies::run(const std::string& account, const std::function<bool(PolicyState&)>& work) {
    const std::scoped_lock changing(changing_);
    const std::optional<LoadedPolicy> replaced = memory_.lock()->state.loading;
    bool activated = false;
    change(account, [&](PolicyState& next) {
        activated = work(next);
        return activated && !next.loading;
    });
    activated = activated && !memory_.lock()->state.failed; // the engine may have refused it
    const PolicyNews news = startLoading(activated);
    changed_.notify_all();
    if (replaced) tell(newsOfReplaced(*replaced));
    if (!memory_.lock()->state.loading) tell(news);
    return {activated, news.message, news.remarks};
}

Policies::Outcome Policies::activateDriver(std::uint32_t mode, const std::string& name, const std::string& by) {
    return run({}, [&](PolicyState& state) {
        WantedPolicy wanted;
        wanted.request = driverRequest(mode);
        return activate(state, namedBy(std::move(wanted), name, by), {}, platform::secondsNow<std::int64_t>());
    });
}

Policies::Outcome Policies::activateSystem(const std::string& content, const std::string& name, const std::string& by) {
    return run({}, [&](PolicyState& state) {
        return activate(state, namedBy(systemPolicyOf(state), name, by), content, platform::secondsNow<std::int64_t>());
    });
}

Policies::Outcome Policies::activateUser(const PolicyUser& user, const std::string& content, const std::string& name,
                                         const std::string& by) {
    return run(user.id, [&](PolicyState& state) {
        return activate(state, namedBy(userPolicyOf(state, user.id, user.name), name, by), content,
                        platform::secondsNow<std::int64_t>());
    });
}

Policies::Outcome Policies::activateRequired(const std::string& name, const std::string& by) {
    return run({}, [&](PolicyState& state) {
        const WantedPolicy required = state.required;
        return activateAgain(state, namedBy(required, name.empty() ? required.name : name, by),
                             platform::secondsNow<std::int64_t>());
    });
}

// ---- settings

LSPsettings_t Policies::systemSettings() const {
    requireKnown(file_);
    return memory_.lock()->state.system;
}

void Policies::setSystemSettings(const LSPsettings_t& settings) {
    const std::scoped_lock changing(changing_);
    change({}, [&](PolicyState& next) {
        next.system = settings;
        return false;
    });
}

void Policies::setSystemSource(std::int32_t source, const std::string& file) {
    const std::scoped_lock changing(changing_);
    change({}, [&](PolicyState& next) {
        next.system.Source = source;
        next.system.File = file;
        requireTakeable(next.system);
        return false;
    });
}

template <class Read>
auto Policies::ofUser(const std::string& id, const Read& read) const {
    requireKnown(file_);
    const auto memory = memory_.lock();
    const auto user = memory->state.users.find(id);
    static const UserPolicies none;
    return read(user == memory->state.users.end() ? none : user->second);
}

void Policies::changeUser(const PolicyUser& user, const std::function<void(UserPolicies&)>& work) {
    const std::scoped_lock changing(changing_);
    change(user.id, [&](PolicyState& next) {
        UserPolicies& its = next.users[user.id];
        its.name = user.name;
        work(its);
        return false;
    });
}

LSPsettings_t Policies::userSettings(const std::string& userId) const {
    return ofUser(userId, [](const UserPolicies& its) { return its.settings(); });
}

bool Policies::userSettingsAreSet(const std::string& userId) const {
    return ofUser(userId, [](const UserPolicies& its) { return its.set.has_value(); });
}

void Policies::setUserSettings(const PolicyUser& user, const LSPsettings_t& settings) {
    changeUser(user, [&](UserPolicies& its) { its.set = settings; });
}

void Policies::offerUserSettings(const PolicyUser& user, const LSPsettings_t& settings) {
    {
        const auto memory = memory_.lock(); // front ends offer the same settings again and again
        const auto known = memory->state.users.find(user.id);
        if (known != memory->state.users.end() && known->second.offered == settings) return;
    }
    changeUser(user, [&](UserPolicies& its) { its.offered = settings; });
}

// ---- the engine

void Policies::startEngine() {
    Remarks why = resumeOrClose(engine_, memory_.lock()->state.inForce);
    if (why.empty()) return;
    logError(inEnglish(why));
    const auto memory = memory_.lock();
    memory->notTaken = std::move(why);
    memory->due = steady_clock::now() + retryInterval;
}

} // namespace panelkitd
