// SPDX-License-Identifier: MIT
#include <service/modules/module_host.h>

#include <platform/bridge/messages.h>

#include <algorithm>
#include <utility>

namespace panelkitd {

using bridge::FrameHeader;
using bridge::FrameKind;
using bridge::FrameStatus;
using std::chrono::milliseconds;
using vocabulary::Refused;

namespace {

// In bytes. No correct reply is larger, because the objects of a token come in several replies (HostFound).
constexpr std::uint32_t largestReply = 40U << 20;

// How long to wait for the rest of a frame that has begun, or for room to send more of it.
bridge::Patience underWay(milliseconds silence) { return {static_cast<std::uint32_t>(silence.count())}; }

// Returns the reason if it is one that a host may refuse for, else deviceError. A module may have changed the process
// and sent another reason, for example one about the service's own state. That must not reach front ends.
Refused ofTokens(std::uint32_t reason) {
    switch (const auto known = static_cast<Refused>(reason)) {
    case Refused::wrongPin:
    case Refused::pinLocked:
    case Refused::finalTry:
    case Refused::unfitPin:
    case Refused::notLoggedIn:
    case Refused::otherUserIsIn:
    case Refused::noSuchToken:
    case Refused::noSuchObject:
    case Refused::ambiguousToken:
    case Refused::notInitialised:
    case Refused::writeProtected:
    case Refused::tokenFull:
    case Refused::notSupported:
    case Refused::wouldErase:
    case Refused::alreadyLoaded:
    case Refused::badInput: return known;
    default: return Refused::deviceError;
    }
}

} // namespace

// ---- turns

// A place in the queue of threads that wait for a turn. It must not live longer than the access to the state.
class ModuleHost::Waiting {
public:
    Waiting(State& state, std::condition_variable& changed) : state_(state), changed_(changed) {
        state_.waiting.push_back(this);
    }
    ~Waiting() {
        std::erase(state_.waiting, this);
        changed_.notify_all(); // another one may be the first now
    }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;

    bool isFirst() const { return state_.waiting.front() == this; }

private:
    State& state_;
    std::condition_variable& changed_;
};

RefusedError ModuleHost::busy() const {
    return RefusedError(Refused::moduleBusy, "the module of provider \"%s\" is at work on something else",
                        settings_.name);
}

ModuleHost::Turn ModuleHost::take(HostPatience patience) {
    auto state = state_.lock();
    awaitTurn(state, patience);
    state->taken = true;
    if (!state->running->asked) state->running->lastSign = Clock::now();
    return {*this, state->running, patience.silence, state->incarnation};
}

void ModuleHost::awaitTurn(LockedState& state, HostPatience patience) {
    const auto last = Clock::now() + patience.turn;
    const Waiting place(*state, changed_);
    for (;;) {
        if (!state->running) throw RefusedError({notRunning(*state)});
        if (!state->taken && place.isFirst()) return;
        const auto until = std::min(last, state->running->lastSign.load() + patience.silence);
        if (Clock::now() >= until) throw busy();
        state.waitUntil(changed_, until);
    }
}

ModuleHost::Turn::~Turn() = default;

void ModuleHost::giveBack() {
    state_.lock()->taken = false;
    changed_.notify_all();
}

// ---- commands

milliseconds ModuleHost::limitOf(HostCommand command) const {
    const ModuleLimits& limits = settings_.limits;
    switch (command) {
    case HostCommand::initialize:
    case HostCommand::generate: return limits.making;
    default: return limits.silence;
    }
}

std::string ModuleHost::exchange(Running& process, HostCommand command, milliseconds silence,
                                 const std::string& request) {
    try {
        return exchangeOrLost(process, command, limitOf(command), silence, request);
    } catch (const Lost& lost) {
        lose(process, lost);
    }
}

std::string ModuleHost::exchangeOrLost(Running& process, HostCommand command, milliseconds limit, milliseconds silence,
                                       const std::string& request) {
    settle(process, silence);
    const auto now = Clock::now();
    process.asked = Asked{command, ++process.lastTag, now, limit};
    process.lastSign = now;
    const FrameHeader header{0, FrameKind::request, 0, static_cast<std::uint32_t>(command), process.asked->tag};
    const auto sent = writeFrame(process.child.channel(), header, request, underWay(settings_.limits.silence));
    if (sent == bridge::IoStatus::timedOut) throw hung(command);
    if (sent == bridge::IoStatus::closed) throw gone(process);
    Answer answer = awaitAnswer(process, silence);
    if (!answer.refused) return std::move(answer.body);
    const auto refusal = bridge::decodeRefusal(answer.body);
    if (!refusal || answer.remarks.empty()) throw nonsense();
    for (bridge::Remark& remark : answer.remarks) remark.code = static_cast<std::uint32_t>(ofTokens(remark.code));
    throw RefusedError(ofTokens(refusal->detail), std::move(answer.remarks));
}

// Reads and drops the reply to an earlier command whose caller has stopped waiting. It comes before the reply to the
// next command.
void ModuleHost::settle(Running& process, milliseconds silence) {
    if (!process.asked) return;
    Answer ignored = awaitAnswer(process, silence);
    platform::wipe(ignored.body);
}

ModuleHost::Answer ModuleHost::awaitAnswer(Running& process, milliseconds silence) {
    Answer answer;
    const Asked asked = *process.asked;
    for (;;) {
        const auto lastSign = process.lastSign.load();
        const auto end = std::min(lastSign + asked.limit, asked.since + settings_.limits.longest);
        const auto until = std::min(end, lastSign + silence);
        if (receive(process, until, answer)) {
            process.asked.reset();
            return answer;
        }
        const auto now = Clock::now();
        if (now >= end) throw hung(asked.command);
        if (now >= process.lastSign.load() + silence) throw busy();
    }
}

// Receives a frame and adds it to the answer. Returns true when it was the last frame of the answer.
bool ModuleHost::receive(Running& process, bridge::Deadline until, Answer& answer) {
    FrameHeader header;
    std::string body;
    const bridge::Patience patience = underWay(settings_.limits.silence);
    FrameStatus status = process.reader.readHeader(header, until, patience);
    if (status == FrameStatus::timedOut) return false;
    if (status == FrameStatus::done) status = process.reader.readBody(header, body, largestReply, patience);
    if (status == FrameStatus::timedOut) throw hung(process.asked->command);
    if (status == FrameStatus::closed) throw gone(process);
    if (status != FrameStatus::done || header.tag != process.asked->tag) throw nonsense();
    process.lastSign = Clock::now();
    switch (header.kind) {
    case FrameKind::working: return false;
    case FrameKind::remarks: answer.remarks = bridge::decodeRemarks(body).value_or(Remarks()); return false;
    case FrameKind::refused: answer.refused = true; [[fallthrough]];
    case FrameKind::reply: answer.body = std::move(body); return true;
    default: throw nonsense();
    }
}

} // namespace panelkitd
