// SPDX-License-Identifier: MIT
#include <service/base/rounds.h>

#include <service/base/log.h>

#include <utility>

namespace panelkitd {

Rounds::Rounds(Round round, std::chrono::milliseconds firstPause)
    : round_(std::move(round)), thread_([this, firstPause] { run(firstPause); }) {}

Rounds::~Rounds() {
    state_.lock()->stopping = true;
    changed_.notify_all();
    thread_.join();
}

void Rounds::ask() {
    state_.lock()->asked = true;
    changed_.notify_all();
}

bool Rounds::stop(std::chrono::milliseconds grace) {
    auto state = state_.lock();
    state->stopping = true;
    changed_.notify_all();
    return state.waitFor(changed_, grace, [&] { return state->ended; });
}

// After a failure the next round is tried after the same pause.
std::chrono::milliseconds Rounds::workAgain(bool wasAsked, std::chrono::milliseconds pause) const {
    try {
        return round_(wasAsked);
    } catch (const std::exception& error) {
        logFailure("work that is done regularly failed", error);
        return pause;
    }
}

void Rounds::run(std::chrono::milliseconds pause) {
    auto state = state_.lock();
    for (;;) {
        state.waitFor(changed_, pause, [&] { return state->asked || state->stopping; });
        if (state->stopping) break;
        const bool wasAsked = std::exchange(state->asked, false);
        state.unlocked([&] { pause = workAgain(wasAsked, pause); });
    }
    state->ended = true;
    changed_.notify_all(); // with the mutex held: the object may be destroyed once it is free
}

} // namespace panelkitd
