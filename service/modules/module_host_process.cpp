// SPDX-License-Identifier: MIT
//
// ModuleHost, continued: starting the module's process, ending it, and starting it again after a failure.
#include <service/modules/module_host.h>

#include <service/base/log.h>
#include <service/modules/host_process.h>

#include <platform/system/files.h>

#include <algorithm>
#include <thread>
#include <utility>

namespace panelkitd {

using std::chrono::milliseconds;
using vocabulary::Refused;

namespace {

// How long a module may take to finalise when it is unloaded.
constexpr auto partingWait = milliseconds(1000);

// When a module has run for this long without a failure, its earlier failures do not count any more.
constexpr auto recoveredAfter = std::chrono::minutes(10);

std::string numbered(HostCommand command) { return " in command " + std::to_string(static_cast<unsigned>(command)); }

unsigned secondsUntil(bridge::Deadline time) {
    const auto left = std::max(time - bridge::Clock::now(), bridge::Clock::duration::zero());
    return static_cast<unsigned>(std::chrono::ceil<std::chrono::seconds>(left).count());
}

} // namespace

ModuleHost::Running::Running(const Settings& settings)
    : child({platform::executablePath(), hostOption, settings.path, channelOption}, settings.environment) {}

ModuleHost::ModuleHost(Settings settings) : settings_(std::move(settings)) {}

ModuleHost::~ModuleHost() {
    stop();
    if (reviver_.joinable()) reviver_.join();
}

void ModuleHost::start() {
    stop();
    const std::scoped_lock starting(starting_);
    setWanted(true);
    try {
        startProcess();
    } catch (...) {
        setWanted(false);
        throw;
    }
}

void ModuleHost::setWanted(bool wanted) {
    const std::scoped_lock lock(mutex_);
    wanted_ = wanted;
}

// Starts a process and stores it, so that stop() and kill() can end it while it is tried out.
std::shared_ptr<ModuleHost::Running> ModuleHost::newProcess() {
    auto process = std::make_shared<Running>(settings_);
    const std::scoped_lock lock(mutex_);
    if (!wanted_) throw RefusedError({notRunning()}); // stopped meanwhile
    triedOut_ = process;
    return process;
}

void ModuleHost::refuseStart(const Remarks& why) {
    {
        const std::scoped_lock lock(mutex_);
        triedOut_.reset();
    }
    throw RefusedError(Refused::moduleUnfit, "the module %s does not work", settings_.path).because(why);
}

// Other threads can use the process only after it has passed tryOut().
void ModuleHost::startProcess() {
    std::shared_ptr<Running> started;
    ModuleFacts facts;
    try {
        started = newProcess();
        facts = tryOut(*started);
    } catch (const Lost& lost) {
        refuseStart({lost.why});
    } catch (const std::exception& error) { // a refusal of the module's, or no process can be started
        refuseStart(explained(error));
    }
    const std::scoped_lock lock(mutex_);
    triedOut_.reset();
    if (!wanted_) throw RefusedError({notRunning()}); // stopped meanwhile
    facts_ = std::move(facts);
    running_ = std::move(started);
    ++incarnation_;
    changed_.notify_all();
}

ModuleFacts ModuleHost::tryOut(Running& process) {
    const milliseconds limit = settings_.limits.start;
    const auto facts = decodedOrLost<ModuleFacts>(exchangeOrLost(process, HostCommand::describe, limit, limit, {}));
    std::string nothingSeen;
    CommandStreamOut(nothingSeen) << std::uint64_t(0);
    decodedOrLost<HostTokens>(exchangeOrLost(process, HostCommand::tokens, limit, limit, nothingSeen));
    return facts;
}

void ModuleHost::stop() {
    std::shared_ptr<Running> ending;
    {
        const std::scoped_lock lock(mutex_);
        wanted_ = false;
        ending = running_;
        if (triedOut_) triedOut_->child.kill();
    }
    if (!ending) return;
    try {
        take({partingWait, partingWait}).tell(HostCommand::end);
    } catch (const RefusedError&) { // it is at work, hangs, or is gone already
        logDetail("the module of provider " + settings_.name + " was ended before it was done");
    }
    ending->child.kill();
    const std::scoped_lock lock(mutex_);
    if (running_ == ending) running_.reset();
    changed_.notify_all();
}

void ModuleHost::kill() {
    const std::scoped_lock lock(mutex_);
    wanted_ = false;
    if (running_) running_->child.kill();
    if (triedOut_) triedOut_->child.kill();
}

void ModuleHost::lookAfter() {
    endIfHung();
    if (!mayRevive()) return;
    if (reviver_.joinable()) reviver_.join(); // it has done its work
    reviver_ = std::thread([this] { revive(); });
}

void ModuleHost::endIfHung() {
    try {
        const Turn turn = take({milliseconds(0), settings_.limits.longest});
        try {
            settle(*turn.process_, milliseconds(0));
        } catch (const Lost& lost) {
            lose(*turn.process_, lost);
        }
    } catch (const RefusedError&) { // somebody else sees to it, or it still has time, or lose() has said it
    }
}

bool ModuleHost::mayRevive() {
    const std::scoped_lock lock(mutex_);
    if (!wanted_ || running_ || triedOut_ || reviving_ || Clock::now() < notBefore_) return false;
    reviving_ = true;
    return true;
}

void ModuleHost::revive() {
    const std::scoped_lock starting(starting_);
    std::optional<std::string> problem;
    try {
        startProcess();
    } catch (const RefusedError& refused) {
        problem = refused.what();
    }
    const std::scoped_lock lock(mutex_);
    reviving_ = false;
    if (!wanted_) return;
    if (!problem) return logEvent("the module of provider " + settings_.name + " runs again");
    lastFailure_ = Clock::now();
    notBefore_ = lastFailure_ + settings_.limits.longestPause;
    logError("the module of provider " + settings_.name + " was not started again: " + *problem);
}

bool ModuleHost::isRunning() const {
    const std::scoped_lock lock(mutex_);
    return running_ != nullptr;
}

ModuleFacts ModuleHost::facts() const {
    const std::scoped_lock lock(mutex_);
    return facts_;
}

std::uint64_t ModuleHost::incarnation() const {
    const std::scoped_lock lock(mutex_);
    return incarnation_;
}

std::optional<bridge::Remark> ModuleHost::problem() const {
    const std::scoped_lock lock(mutex_);
    if (running_) return std::nullopt;
    return notRunning();
}

// ---- what is known of it

bridge::Remark ModuleHost::notRunning() const {
    if (!wanted_) {
        return remark(Refused::moduleFailed, "the module of provider \"%s\" is not loaded", settings_.name);
    }
    return remark(Refused::moduleFailed,
                  "the module of provider \"%s\" has stopped working; it is started again in %d s", settings_.name,
                  secondsUntil(notBefore_));
}

HostPatience ModuleHost::forListing() const {
    const std::scoped_lock lock(mutex_);
    const bool suspect = failures_ > 0 && Clock::now() - lastFailure_ < recoveredAfter;
    const auto silence = suspect ? milliseconds(250) : milliseconds(3000);
    return {settings_.limits.turn, std::min(silence, settings_.limits.silence)};
}

// ---- what goes wrong

ModuleHost::Lost ModuleHost::hung(HostCommand command) const {
    return {"hung" + numbered(command) + " and was stopped",
            remark(Refused::moduleFailed, "the module of provider \"%s\" did not answer in time and was stopped",
                   settings_.name)};
}

ModuleHost::Lost ModuleHost::gone(const Running& process) const {
    // The channel closes a moment before the system reports that the process has ended.
    for (int i = 0; i < 100 && !process.child.ended(); ++i) std::this_thread::sleep_for(milliseconds(5));
    const std::string how = process.child.ended() ? process.child.ending() : "closed its channel";
    const std::string where = process.asked ? numbered(process.asked->command) : "";
    return {how + where, remark(Refused::moduleFailed, "the module of provider \"%s\" crashed", settings_.name)};
}

ModuleHost::Lost ModuleHost::nonsense() const {
    return {"answered nonsense and was stopped",
            remark(Refused::moduleFailed, "the module of provider \"%s\" answered nonsense and was stopped",
                   settings_.name)};
}

void ModuleHost::lose(Running& process, const Lost& lost) {
    process.child.kill();
    if (forget(process, lost.how)) throw RefusedError({lost.why});
    const std::scoped_lock lock(mutex_);
    throw RefusedError({notRunning()});
}

// Gives up the process. It is started again after a pause, which is longer after each failure. Returns false when the
// process was meant to end.
bool ModuleHost::forget(const Running& process, const std::string& how) {
    const std::scoped_lock lock(mutex_);
    if (running_.get() == &process) running_.reset();
    changed_.notify_all();
    if (!wanted_) return false;
    const auto now = Clock::now();
    if (now - lastFailure_ > recoveredAfter) failures_ = 0;
    const milliseconds pause = settings_.limits.firstPause * (1U << std::min(failures_, 10U));
    ++failures_;
    lastFailure_ = now;
    notBefore_ = now + std::min(pause, settings_.limits.longestPause);
    logError("the module of provider " + settings_.name + " (" + settings_.path + ") " + how +
             "; it is started again in " + std::to_string(secondsUntil(notBefore_)) + " s");
    return true;
}

} // namespace panelkitd
