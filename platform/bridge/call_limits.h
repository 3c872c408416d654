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
// What follows from a command that was given up:
//
// - The service does not learn of it before it answers. It carries out a command that it has read whole, and its answer
//   is lost; so after a change, read the state again to see what was done. A request that was only sent in part is not
//   carried out. A long command goes on to take the service's time, and its place among the sessions that one account
//   may have, until it ends.
// - The session is broken, since the answer may still come and must not be taken for that of the next command. The next
//   command over the pool (panelkit/bridge/sessions_pool.h) closes all its sessions and opens them again.
// - A VpnCertsController keeps its session, so each of its further commands fails: make a new one. A file that was
//   parsed in the old session must be parsed again, since the service keeps it for its session alone. Log-ins to tokens
//   stay, because they belong to the account.
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
    // `time` is for all these commands together; 0 means no limit. `givenUp` may be null; it is looked at about every
    // 50 ms while an answer is awaited, and must exist as long as this object. While a large request is being sent,
    // only the time counts.
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
