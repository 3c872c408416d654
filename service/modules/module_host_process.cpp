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

void ModuleHost::setWanted(bool wanted) { state_.lock()->wanted = wanted; }

// Starts a process and stores it, so that stop() and kill() can end it while it is tried out.
std::shared_ptr<ModuleHost::Running> ModuleHost::newProcess() {
    auto process = std::make_shared<Running>(settings_);
    const auto state = state_.lock();
    if (!state->wanted) throw RefusedError({notRunning(*state)}); // stopped meanwhile
    state->triedOut = process;
    return process;
}

void ModuleHost::refuseStart(const Remarks& why) {
    state_.lock()->triedOut.reset();
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
    const auto state = state_.lock();
    state->triedOut.reset();
    if (!state->wanted) throw RefusedError({notRunning(*state)}); // stopped meanwhile
    state->facts = std::move(facts);
    state->running = std::move(started);
    ++state->incarnation;
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
        const auto state = state_.lock();
        state->wanted = false;
        ending = state->running;
        if (state->triedOut) state->triedOut->child.kill();
    }
    if (!ending) return;
    try {
        take({partingWait, partingWait}).tell(HostCommand::end);
    } catch (const RefusedError&) { // it is at work, hangs, or is gone already
        logDetail("the module of provider " + settings_.name + " was ended before it was done");
    }
    ending->child.kill();
    const auto state = state_.lock();
    if (state->running == ending) state->running.reset();
    changed_.notify_all();
}

void ModuleHost::kill() {
    const auto state = state_.lock();
    state->wanted = false;
    if (state->running) state->running->child.kill();
    if (state->triedOut) state->triedOut->child.kill();
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
    const auto state = state_.lock();
    const bool atWork = state->running || state->triedOut || state->reviving;
    if (!state->wanted || atWork || Clock::now() < state->notBefore) return false;
    state->reviving = true;
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
    if (!noteRevival(!problem)) return;
    if (!problem) return logEvent("the module of provider " + settings_.name + " runs again");
    logError("the module of provider " + settings_.name + " was not started again: " + *problem);
}

// Returns false when the process is not wanted any more.
bool ModuleHost::noteRevival(bool succeeded) {
    const auto state = state_.lock();
    state->reviving = false;
    if (!state->wanted || succeeded) return state->wanted;
    state->lastFailure = Clock::now();
    state->notBefore = state->lastFailure + settings_.limits.longestPause;
    return true;
}

bool ModuleHost::isRunning() const { return state_.lock()->running != nullptr; }

ModuleFacts ModuleHost::facts() const { return state_.lock()->facts; }

std::uint64_t ModuleHost::incarnation() const { return state_.lock()->incarnation; }

std::optional<bridge::Remark> ModuleHost::problem() const {
    const auto state = state_.lock();
    if (state->running) return std::nullopt;
    return notRunning(*state);
}

// ---- the state

bridge::Remark ModuleHost::notRunning(const State& state) const {
    if (!state.wanted) {
        return remark(Refused::moduleFailed, "the module of provider \"%s\" is not loaded", settings_.name);
    }
    return remark(Refused::moduleFailed,
                  "the module of provider \"%s\" has stopped working; it is started again in %d s", settings_.name,
                  secondsUntil(state.notBefore));
}

HostPatience ModuleHost::forListing() const {
    const auto state = state_.lock();
    const bool suspect = state->failures > 0 && Clock::now() - state->lastFailure < recoveredAfter;
    const auto silence = suspect ? milliseconds(250) : milliseconds(3000);
    return {settings_.limits.turn, std::min(silence, settings_.limits.silence)};
}

// ---- failures

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
    throw RefusedError({notRunning(*state_.lock())});
}

// Gives up the process. Returns false when it was meant to end; else it is started again after a pause.
bool ModuleHost::forget(const Running& process, const std::string& how) {
    const auto again = noteFailure(process);
    changed_.notify_all();
    if (!again) return false;
    logError("the module of provider " + settings_.name + " (" + settings_.path + ") " + how +
             "; it is started again in " + std::to_string(secondsUntil(*again)) + " s");
    return true;
}

// Returns the time from which the process may be started again: the pause is longer after each failure. Returns nullopt
// when the process was meant to end.
std::optional<ModuleHost::Clock::time_point> ModuleHost::noteFailure(const Running& process) {
    const auto state = state_.lock();
    if (state->running.get() == &process) state->running.reset();
    if (!state->wanted) return std::nullopt;
    const auto now = Clock::now();
    if (now - state->lastFailure > recoveredAfter) state->failures = 0;
    const milliseconds pause = settings_.limits.firstPause * (1U << std::min(state->failures, 10U));
    ++state->failures;
    state->lastFailure = now;
    state->notBefore = now + std::min(pause, settings_.limits.longestPause);
    return state->notBefore;
}

} // namespace panelkitd
