// SPDX-License-Identifier: MIT
#include <service/policy/policies.h>

#include <service/log.h>
#include <service/policy/activation.h>
#include <service/policy/diagnosis.h>
#include <service/refused.h>

#include <platform/system/files.h>
#include <vocabulary/policy.h>

#include <utility>

namespace panelkitd {

using LSPcmd::LSPsettings_t;
using std::chrono::steady_clock;
namespace field = vocabulary::policyInfo;

namespace {

constexpr auto retryInterval = std::chrono::seconds(5); // when the disk takes nothing

std::int64_t currentTime() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::seconds>(now).count();
}

std::string sectionNames(const PolicyText& text) {
    std::string names;
    for (const PolicySection& section : text.sections) names += (names.empty() ? "" : ", ") + section.name;
    return names;
}

LSPinfo_t describe(const LoadedPolicy& policy) {
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
    info.*field::sections = sectionNames(policy.text);
    return info;
}

// What a section authenticates with goes where front ends look for it: the required policy says how, the one in force
// names the key.
void takeCredentials(const Diagnosis& diagnosis, LSPserver_t& server) {
    server.authKind = diagnosis.byPresharedKey ? LSPauthPresharedKey : 0;
    server.presharedKeyName = diagnosis.presharedKey;
    server.Subject = diagnosis.subject;
}

// A message that is not bare is not shown, but for the fact that there is one: the front end then says what it knows of
// the certificate's state.
void takeDiagnosis(const Diagnosis& diagnosis, Policies::Report& report) {
    takeCredentials(diagnosis, report.required.server);
    takeCredentials(diagnosis, report.info.request.server);
    report.info.*field::certificate = diagnosis.subject;
    report.info.certificateState = diagnosis.state;
    report.info.certificateDate = diagnosis.date;
    if (diagnosis.problem.empty()) return;
    report.info.message = diagnosis.problem;
    report.info.bareMessage = !diagnosis.frontEndKnows;
}

} // namespace

Policies::Policies(const StateFolder& folder, const Credentials& credentials,
                   std::function<void(const PolicyNews&)> news)
    : folder_(folder), credentials_(credentials), news_(std::move(news)), state_(loadPolicyState(folder)) {
    resume(state_, currentTime());
    savePolicyState(folder_, state_);
    loader_ = std::thread([this] { waitForLoading(); });
}

Policies::~Policies() {
    {
        const std::scoped_lock lock(mutex_);
        ending_ = true;
    }
    changed_.notify_all();
    loader_.join();
}

// ---- what there is

// Tokens are looked into without the lock: a slow one must hold up nobody else.
Policies::Report Policies::report() const {
    std::unique_lock lock(mutex_);
    const LoadedPolicy policy = state_.inForce;
    Report report{state_.required.request, describe(policy)};
    report.info.isLoading = state_.loading.has_value();
    report.info.bareMessage = !report.info.isLoading;
    report.info.message = report.info.isLoading ? "" : state_.message;
    const bool settled = !report.info.isLoading && !state_.failed;
    lock.unlock();
    if (!settled) return report;
    if (const auto diagnosis = diagnose(policy.text, credentials_, currentTime())) takeDiagnosis(*diagnosis, report);
    return report;
}

LoadedPolicy Policies::inForce() const {
    const std::scoped_lock lock(mutex_);
    return state_.inForce;
}

WantedPolicy Policies::required() const {
    const std::scoped_lock lock(mutex_);
    return state_.required;
}

// ---- changes

// Stored first: what could not be stored did not happen.
void Policies::change(const std::function<void(PolicyState&)>& work) {
    PolicyState next = state_;
    work(next);
    try {
        savePolicyState(folder_, next);
    } catch (const platform::FileError& error) {
        logError(error.what());
        throw RefusedError(vocabulary::Refused::deviceError, "the service can't store the change; its log says why");
    }
    state_ = std::move(next);
}

Policies::Outcome Policies::run(const WantedPolicy& wanted, const std::string& content) {
    PolicyNews news;
    bool settled = false;
    {
        const std::scoped_lock lock(mutex_);
        change([&](PolicyState& next) { news.activated = activate(next, wanted, content, currentTime()); });
        news.message = state_.message;
        settled = !state_.loading;
        news.title = news.activated && settled ? state_.inForce.text.title : "";
        due_ = steady_clock::now() + std::chrono::milliseconds(state_.system.*vocabulary::policySettings::loadingDelay);
    }
    changed_.notify_all();
    if (settled && news_) news_(news);
    return {news.activated, news.message};
}

Policies::Outcome Policies::activateDriver(std::uint32_t mode, const std::string& name, const std::string& by) {
    WantedPolicy wanted;
    wanted.request = driverRequest(mode);
    wanted.name = name;
    wanted.by = by;
    return run(wanted, {});
}

Policies::Outcome Policies::activateSystem(const std::string& content, const std::string& name, const std::string& by) {
    std::unique_lock lock(mutex_);
    WantedPolicy wanted = systemPolicyOf(state_);
    lock.unlock();
    wanted.name = name;
    wanted.by = by;
    return run(wanted, content);
}

Policies::Outcome Policies::activateUser(const PolicyUser& user, const std::string& content, const std::string& name,
                                         const std::string& by) {
    std::unique_lock lock(mutex_);
    WantedPolicy wanted = userPolicyOf(state_, user.id, user.name);
    lock.unlock();
    wanted.name = name;
    wanted.by = by;
    return run(wanted, content);
}

Policies::Outcome Policies::activateRequired(const std::string& name, const std::string& by) {
    WantedPolicy wanted = required();
    if (!name.empty()) wanted.name = name;
    wanted.by = by;
    return run(wanted, {});
}

// ---- settings

LSPsettings_t Policies::systemSettings() const {
    const std::scoped_lock lock(mutex_);
    return state_.system;
}

void Policies::setSystemSettings(const LSPsettings_t& settings) {
    const std::scoped_lock lock(mutex_);
    change([&](PolicyState& next) { next.system = settings; });
}

LSPsettings_t Policies::userSettings(const std::string& userId) const {
    const std::scoped_lock lock(mutex_);
    const auto user = state_.users.find(userId);
    return user == state_.users.end() ? LSPsettings_t() : user->second.settings();
}

bool Policies::userSettingsAreSet(const std::string& userId) const {
    const std::scoped_lock lock(mutex_);
    const auto user = state_.users.find(userId);
    return user != state_.users.end() && user->second.set;
}

void Policies::setUserSettings(const PolicyUser& user, const LSPsettings_t& settings) {
    const std::scoped_lock lock(mutex_);
    change([&](PolicyState& next) {
        next.users[user.id].name = user.name;
        next.users[user.id].set = settings;
    });
}

void Policies::offerUserSettings(const PolicyUser& user, const LSPsettings_t& settings) {
    const std::scoped_lock lock(mutex_);
    const auto known = state_.users.find(user.id);
    if (known != state_.users.end() && known->second.offered == settings) return; // asked for often
    change([&](PolicyState& next) {
        next.users[user.id].name = user.name;
        next.users[user.id].offered = settings;
    });
}

// ---- loading that takes time

void Policies::waitForLoading() {
    std::unique_lock lock(mutex_);
    while (!ending_) {
        if (!state_.loading) {
            changed_.wait(lock);
        } else if (steady_clock::now() < due_) {
            changed_.wait_until(lock, due_);
        } else {
            finishDueLoading(lock);
        }
    }
}

void Policies::finishDueLoading(std::unique_lock<std::mutex>& lock) {
    try {
        change([](PolicyState& next) { finishLoading(next, currentTime()); });
    } catch (const RefusedError&) {
        due_ = steady_clock::now() + retryInterval;
        return;
    }
    const PolicyNews news{true, state_.inForce.text.title, state_.message};
    lock.unlock();
    if (news_) news_(news);
    lock.lock();
}

} // namespace panelkitd
