// SPDX-License-Identifier: MIT
//
// The service's log: lines on standard error, with the priorities of the journal when the journal reads them. Secrets
// are never logged. Any thread may log.
#pragma once

#include <chrono>

#include <exception>
#include <platform/system/guarded.h>
#include <string>

namespace panelkitd {

// The levels of the LOG section.
enum class LogLevel : int { disabled = 0, events = 1, details = 2, debug = 3 };

void setLogLevel(LogLevel level);

void logError(const std::string& text); // at every level but disabled
void logEvent(const std::string& text);
void logDetail(const std::string& text);
void logDebug(const std::string& text);

// "WHAT: the error's text", as an error. Never throws, so a thread can end its last handler with it: if there is no
// memory for the text, the line has `what` alone.
void logFailure(const char* what, const std::exception& error) noexcept;

// One line for each command that changes something, at every level but disabled: who, what, and how it ended.
void audit(const std::string& text);

// For events that any account can cause as often as it likes: only so many are logged in a minute, the others counted.
class ThrottledLog {
public:
    explicit ThrottledLog(unsigned perMinute) : perMinute_(perMinute) {}
    void event(const std::string& text);

private:
    using Clock = std::chrono::steady_clock;

    struct Minute {
        Clock::time_point began{};
        unsigned logged = 0;
        unsigned held = 0; // not logged
    };

    const unsigned perMinute_;
    platform::Guarded<Minute> minute_;
};

} // namespace panelkitd
