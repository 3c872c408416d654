// SPDX-License-Identifier: MIT
//
// Work that is repeated on a thread of its own: after a pause, or at once on request. A round may hang in a third-party
// module, so waiting for its end has a time limit.
#pragma once

#include <chrono>

#include <condition_variable>
#include <functional>
#include <platform/system/guarded.h>
#include <thread>

namespace panelkitd {

class Rounds {
public:
    // `round` returns the pause until the next round; the first one begins after `firstPause`. `wasAsked` says whether
    // it was requested. An exception from it is logged.
    using Round = std::function<std::chrono::milliseconds(bool wasAsked)>;
    Rounds(Round round, std::chrono::milliseconds firstPause);
    // Waits for the end of a running round, without limit: call stop() first to know whether it ends.
    ~Rounds();
    Rounds(const Rounds&) = delete;
    Rounds& operator=(const Rounds&) = delete;

    // Requests a round now; from any thread, also from the round itself.
    void ask();

    // Begins no further round. Returns false when the running one did not end in time.
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
