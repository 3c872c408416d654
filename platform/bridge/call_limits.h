// SPDX-License-Identifier: MIT
//
// Limits for commands as a whole. A session's wait setting limits only how long the service may be silent; a service
// that keeps saying that it is at work is waited for without end.
//
//   std::atomic<bool> givenUp{false};  // set by any thread, for example when the user presses Cancel
//   const bridge::CallLimits limits(std::chrono::seconds(60), &givenUp);
//   controller.ReloadAll();            // returns false after 60 s, and soon after givenUp was set
//   bridge::lastFailure().code;        // then it is timedOut
//
// A command that was ended like this may still be carried out by the service: it finishes what it has begun. The
// session is broken, since the answer may still come: the pool opens its sessions again with the next command, and a
// certificate controller, which keeps a session, must be made again.
#pragma once

#include <platform/bridge/deadline.h>
#include <platform/export.h>

#include <atomic>
#include <chrono>

namespace bridge {

// Limits the commands that the thread gives while the object exists; each command that is under way when the time is
// over ends then. Within other limits of the same thread, the earlier end counts. Used by one thread.
class PANELKIT_EXPORT CallLimits {
public:
    // `time` is for all these commands together; 0 is no limit. `givenUp` may be null; it is looked at about every 50
    // ms while an answer is awaited, and must exist as long as this object. While a large request is being sent, only
    // the time counts.
    explicit CallLimits(std::chrono::milliseconds time, const std::atomic<bool>* givenUp = nullptr);
    ~CallLimits();
    CallLimits(const CallLimits&) = delete;
    CallLimits& operator=(const CallLimits&) = delete;

    // What is in force for the calling thread. For the bridge, which hands it on to the thread that sends the command.
    struct InForce {
        Deadline until = never;
        const std::atomic<bool>* givenUp = nullptr;
    };
    static InForce inForce();
    explicit CallLimits(const InForce& same);

private:
    InForce before_;
};

} // namespace bridge
