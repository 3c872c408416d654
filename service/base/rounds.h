// SPDX-License-Identifier: MIT
//
// Work that is done again and again on a thread of its own: after a pause, or at once when somebody asks. What it calls
// may hang (a module of somebody else's), so its end is waited for only so long.
#pragma once

#include <chrono>

#include <condition_variable>
#include <functional>
#include <platform/system/guarded.h>
#include <thread>

namespace panelkitd {

class Rounds {
public:
    // `round` returns the pause until the next one; the first one begins after `firstPause`. `wasAsked` says whether
    // somebody asked for this one. What it throws is logged.
    using Round = std::function<std::chrono::milliseconds(bool wasAsked)>;
    Rounds(Round round, std::chrono::milliseconds firstPause);
    // Waits for the end of a round that is under way; stop() says whether it will come.
    ~Rounds();
    Rounds(const Rounds&) = delete;
    Rounds& operator=(const Rounds&) = delete;

    // Asks for a round now; from any thread, also from the round itself.
    void ask();

    // No further round is begun. False when the one under way did not end in time.
    bool stop(std::chrono::milliseconds grace);

private:
    struct State {
        bool asked = false;
        bool stopping = false;
        bool ended = false;
    };

    std::chrono::milliseconds workAgain(bool wasAsked, std::chrono::milliseconds pause) const;
    void run(std::chrono::milliseconds pause);

    const Round round_;
    platform::Guarded<State> state_;
    std::condition_variable changed_;
    std::thread thread_; // last, it uses all of it
};

} // namespace panelkitd
