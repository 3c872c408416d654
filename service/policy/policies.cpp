// SPDX-License-Identifier: MIT
#include <service/policy/policies.h>

#include <service/base/limits.h>
#include <service/base/log.h>
#include <service/base/refused.h>
#include <service/policy/activation.h>
#include <service/policy/diagnosis.h>

#include <platform/system/clock.h>
#include <platform/system/files.h>
#include <platform/text/join.h>
#include <vocabulary/policy.h>

#include <utility>

namespace panelkitd {

using LSPcmd::LSPsettings_t;
using std::chrono::steady_clock;
namespace field = vocabulary::policyInfo;
using vocabulary::Refused;
namespace settingsField = vocabulary::policySettings;

namespace {

constexpr auto retryInterval = std::chrono::seconds(5); // after a failed write

WantedPolicy namedBy(WantedPolicy wanted, const std::string& name, const std::string& by) {
    wanted.name = name;
    wanted.by = by;
    return wanted;
}

LSPinfo_t infoOf(const LoadedPolicy& policy) {
    LSPinfo_t info;
    info.request = policy.wanted.request;
    info.activated = policy.activated;
    info.fromConfigDb = policy.fromConfigDb;
    info.Title = policy.text.title;
    info.certificateState = vocabulary::policyCertificate::fine;
    info.*field::name = policy.wanted.name;
    info.*field::activatedBy = policy.wanted.by;
    info.*field::version = policy.text.version;
    info.*field::sectionCount = static_cast<std::uint32_t>(policy.text.sections.size());
    info.*field::sections = platform::joined(policy.text.sections, ", ", &PolicySection::name);
    return info;
}

// What people know the policy by. The driver policy is known by its mode.
std::string nameOf(const WantedPolicy& wanted) {
    if (!wanted.name.empty()) return wanted.name;
    if (!wanted.request.file.empty() || wanted.request.type != LSPdriver) return wanted.request.file;
    const auto& names = vocabulary::driverModeNames;
    return wanted.request.driverMode < names.size() ? names.at(wanted.request.driverMode) : std::string();
}

PolicyNews newsOf(const WantedPolicy& wanted, const Remarks& remarks, const std::string& message) {
    PolicyNews news;
    news.source = isUserPolicy(wanted.request.type) ? "user" : wanted.request.type == LSPdriver ? "driver" : "system";
    news.user = wanted.request.user;
    news.title = nameOf(wanted);
    news.message = message;
    news.remarks = remarks;
    return news;
}

// The news of the last activation, which has ended.
PolicyNews newsOf(const PolicyState& state, bool activated) {
    PolicyNews news = newsOf(state.required, state.remarks, state.message());
    news.activated = activated;
    const bool isNamed = activated && state.required.request.type != LSPdriver;
    if (isNamed && !state.inForce.text.title.empty()) news.title = state.inForce.text.title;
    return news;
}

// It was accepted, and another activation came before it was in force.
PolicyNews newsOfReplaced(const LoadedPolicy& policy) {
    const Remarks why{remark(Refused::policyReplaced, "another activation came before the policy was in force")};
    PolicyNews news = newsOf(policy.wanted, why, inEnglish(why));
    if (!policy.text.title.empty()) news.title = policy.text.title;
    return news;
}

// Every front end of the host hears the news. Why a user's policy failed, and its file, concern this user only, who
// reads it in the answer and in the policy information.
PolicyNews forEverybody(PolicyNews news) {
    if (news.activated || news.source != "user") return news;
    news.title = vocabulary::notShown;
    news.remarks = {remark(Refused::none, "only %s and administrators of the service can see why", news.user)};
    news.message = inEnglish(news.remarks);
    return news;
}

// Front ends read how a section authenticates from the required policy, and the name of the key from the one in force.
void takeCredentials(const Diagnosis& diagnosis, LSPserver_t& server) {
    server.authKind = diagnosis.byPresharedKey ? LSPauthPresharedKey : 0;
    server.presharedKeyName = diagnosis.presharedKey;
    server.Subject = diagnosis.subject;
}

// If a message is not bare, front ends only use the fact that it is not empty, and show their own text for the
// certificate's state.
void takeDiagnosis(const Diagnosis& diagnosis, Policies::Report& report) {
    takeCredentials(diagnosis, report.required.server);
    takeCredentials(diagnosis, report.info.request.server);
    report.info.*field::certificate = diagnosis.subject;
    report.info.certificateState = diagnosis.state;
    report.info.certificateDate = diagnosis.date;
    if (diagnosis.note) {
        report.remarks.push_back(*diagnosis.note);
        report.info.message = std::string(vocabulary::policyWarning) + inLines(report.remarks);
    }
    if (!diagnosis.problem) return;
    report.remarks = {*diagnosis.problem};
    report.info.message = inEnglish(report.remarks);
    report.info.bareMessage = !diagnosis.frontEndKnows;
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

// Returns the policy in force when it can be diagnosed: it is loaded, and the last activation did not fail.
std::optional<PolicyText> Policies::describe(Report& report) const {
    const auto memory = memory_.lock();
    const PolicyState& state = memory->state;
    const WantedPolicy& wanted = state.inForce.wanted;
    report = {state.required.request, infoOf(state.inForce), {}, state.required.userId, wanted.userId};
    report.info.isLoading = state.loading.has_value();
    report.info.bareMessage = !report.info.isLoading;
    if (report.info.isLoading) return std::nullopt;
    report.info.message = state.message();
    report.remarks = state.remarks;
    if (!memory->notTaken.empty()) {
        report.info.message = inEnglish(memory->notTaken);
        report.remarks = memory->notTaken;
    }
    const bool settled = !state.failed && memory->notTaken.empty();
    return settled ? std::optional(state.inForce.text) : std::nullopt;
}

// Tokens are read without the lock: a slow one must not delay other requests.
Policies::Report Policies::report() const {
    Report report;
    const std::optional<PolicyText> settled = describe(report);
    if (!settled) return report;
    const auto diagnosis = diagnose(*settled, credentials_, platform::secondsNow<std::int64_t>());
    if (diagnosis) takeDiagnosis(*diagnosis, report);
    if (!diagnosis || !diagnosis->problem) return report;
    for (const auto& remark : file_.remarks()) report.remarks.push_back(remark);
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
    if (engineTakes(next.inForce, false, why)) return true;
    failActivation(next, before, why);
    return false;
}

void Policies::store(const PolicyState& next, const PolicyState& before, bool taken) {
    const auto putBack = [&] {
        if (!taken) return;
        Remarks why;
        if (engineTakes(before.inForce, true, why)) return;
        logError("the former policy can't be put back: " + inEnglish(why));
        const auto memory = memory_.lock();
        memory->notTaken = why;
        memory->due = steady_clock::now() + retryInterval;
        changed_.notify_all();
    };
    try {
        savePolicyState(file_, next);
    } catch (const platform::FileError&) {
        putBack();
        throw RefusedError(Refused::notStored, "the service can't store the change; its log says why");
    } catch (...) {
        putBack();
        throw;
    }
}

// What was changed has been stored: only the news is lost if there is no memory for it.
void Policies::tell(const PolicyNews& news) const {
    try {
        if (news_) news_(forEverybody(news));
    } catch (const std::exception& error) {
        logFailure("announcing a policy", error);
    }
}

void Policies::requireKnown() const {
    if (isKnown(file_)) return;
    throw RefusedError(Refused::notStored,
                       "the stored policy can't be used, so nothing is known of its settings and nothing is changed; "
                       "repair or remove %s and restart the service",
                       file_.path());
}

// Users share the file with the system's policy, so one account must leave room for it. Existing data beyond the limit
// is not removed.
void Policies::requireShare(const PolicyState& present, const PolicyState& next, const std::string& account) {
    const auto kept = [&account](const PolicyState& state) {
        const auto user = state.users.find(account);
        return user == state.users.end() ? 0 : storedSize(user->second);
    };
    const std::size_t size = kept(next);
    if (size <= kept(present)) return;
    std::size_t all = 0;
    for (const auto& [id, user] : next.users) all += storedSize(user);
    if (size <= limits::storedOfAccount && all <= limits::storedOfAllAccounts) return;
    throw RefusedError(
        Refused::notStored,
        "the policy and settings of this account would take %d bytes; at most %d are kept for an account "
        "and %d for all together",
        size, limits::storedOfAccount, limits::storedOfAllAccounts);
}

// Begins to wait for a policy that loads, and returns the news of the activation.
PolicyNews Policies::startLoading(bool activated) {
    const auto memory = memory_.lock();
    const auto delay = std::chrono::milliseconds(memory->state.system.*settingsField::loadingDelay);
    memory->due = steady_clock::now() + delay;
    return newsOf(memory->state, activated);
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
    requireKnown();
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

LSPsettings_t Policies::userSettings(const std::string& userId) const {
    requireKnown();
    const auto memory = memory_.lock();
    const auto user = memory->state.users.find(userId);
    return user == memory->state.users.end() ? LSPsettings_t() : user->second.settings();
}

bool Policies::userSettingsAreSet(const std::string& userId) const {
    requireKnown();
    const auto memory = memory_.lock();
    const auto user = memory->state.users.find(userId);
    return user != memory->state.users.end() && user->second.set;
}

void Policies::setUserSettings(const PolicyUser& user, const LSPsettings_t& settings) {
    const std::scoped_lock changing(changing_);
    change(user.id, [&](PolicyState& next) {
        next.users[user.id].name = user.name;
        next.users[user.id].set = settings;
        return false;
    });
}

void Policies::offerUserSettings(const PolicyUser& user, const LSPsettings_t& settings) {
    {
        const auto memory = memory_.lock(); // front ends offer the same settings again and again
        const auto known = memory->state.users.find(user.id);
        if (known != memory->state.users.end() && known->second.offered == settings) return;
    }
    const std::scoped_lock changing(changing_);
    change(user.id, [&](PolicyState& next) {
        next.users[user.id].name = user.name;
        next.users[user.id].offered = settings;
        return false;
    });
}

// ---- the engine

bool Policies::engineTakes(const LoadedPolicy& policy, bool resumed, Remarks& why) {
    try {
        engine_.apply(enginePolicyOf(policy, resumed));
        return true;
    } catch (const std::exception& error) {
        why = {remark(Refused::notInForce, "the policy can't be put into force")};
        for (bridge::Remark& reason : explained(error)) why.push_back(std::move(reason));
        return false;
    }
}

void Policies::startEngine() {
    const LoadedPolicy inForce = memory_.lock()->state.inForce;
    Remarks why;
    if (engineTakes(inForce, true, why)) return;
    logError(inEnglish(why));
    {
        const auto memory = memory_.lock();
        memory->notTaken = why;
        memory->due = steady_clock::now() + retryInterval;
    }
    LoadedPolicy closed;
    closed.wanted.request = driverRequest(LSPdropAllExceptDhcp);
    if (!engineTakes(closed, true, why)) logError("nor can everything be dropped except DHCP: " + inEnglish(why));
}

// The policy that is in force by our records once more, which the engine did not take. changing_ is held.
void Policies::resumeEngine() {
    const LoadedPolicy inForce = memory_.lock()->state.inForce;
    Remarks why;
    if (engineTakes(inForce, true, why)) logEvent("the policy is in force now");
    const auto memory = memory_.lock();
    memory->notTaken = std::move(why);
    memory->due = steady_clock::now() + retryInterval;
}

// ---- loading that takes time

void Policies::waitForLoading() {
    auto memory = memory_.lock();
    while (!memory->ending) {
        if (!memory->state.loading && memory->notTaken.empty()) {
            memory.wait(changed_);
        } else if (steady_clock::now() < memory->due) {
            memory.waitUntil(changed_, memory->due);
        } else {
            memory.unlocked([this] { finishDueLoading(); });
        }
    }
}

void Policies::finishDueLoading() {
    const std::scoped_lock changing(changing_);
    {
        auto memory = memory_.lock();
        if (steady_clock::now() < memory->due) return; // another activation came first
        if (!memory->state.loading && memory->notTaken.empty()) return;
        if (!memory->state.loading) return memory.unlocked([this] { resumeEngine(); });
    }
    try {
        change({}, [](PolicyState& next) {
            finishLoading(next, platform::secondsNow<std::int64_t>());
            return true;
        });
        const PolicyState state = memory_.lock()->state;
        tell(newsOf(state, !state.failed));
    } catch (const std::exception& error) { // the cause (a full disk, no memory) may be over after a while
        logFailure("a policy that was loading is not in force yet", error);
        memory_.lock()->due = steady_clock::now() + retryInterval;
    }
}

} // namespace panelkitd
