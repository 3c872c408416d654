// SPDX-License-Identifier: MIT
//
// A request to end, which may come before or after a reaction is set, and the time that the process then has. For
// termination_*.cpp.
#pragma once

#include <service/base/log.h>

#include <platform/system/guarded.h>

#include <chrono>
#include <exception>
#include <functional>
#include <mutex>
#include <utility>

namespace panelkitd {

class RequestNote {
public:
    using Reaction = std::function<void()>;

    void ask() {
        Reaction react;
        {
            const auto note = note_.lock();
            note->asked = true;
            react = std::exchange(note->react, nullptr);
        }
        run(react);
    }
    void awaitReaction() { const std::scoped_lock running(running_); }
    void setLimit(std::chrono::milliseconds limit) { note_.lock()->limit = limit; }
    std::chrono::milliseconds limit() const { return note_.lock()->limit; }
    void whenAsked(Reaction react) {
        {
            const auto note = note_.lock();
            if (!note->asked) {
                note->react = std::move(react);
                return;
            }
        }
        run(react);
    }

private:
    struct Note {
        bool asked = false;
        std::chrono::milliseconds limit = std::chrono::hours(1);
        Reaction react;
    };

    // What the reaction throws must not keep the process from ending: then the limit does it.
    void run(const Reaction& react) {
        const std::scoped_lock running(running_);
        try {
            if (react) react();
        } catch (const std::exception& error) {
            logFailure("asked to end", error);
        }
    }

    std::mutex running_; // held while the reaction runs
    platform::Guarded<Note> note_;
};

} // namespace panelkitd
