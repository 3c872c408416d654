// SPDX-License-Identifier: MIT
//
// The service's log: lines on standard error, with the priorities of the journal when the journal reads them. Secrets
// are never logged. Any thread may log, also with a lock held: with a LogThread, logging only queues the line, so a
// reader of the log that stops reading delays nothing.
#pragma once

#include <platform/system/guarded.h>

#include <chrono>
#include <exception>
#include <map>
#include <string>
#include <string_view>

namespace panelkitd {

// The levels of the LOG section.
enum class LogLevel : int { disabled = 0, events = 1, details = 2, debug = 3 };

void setLogLevel(LogLevel level);

// Has lines written by `writer` instead of to standard error. It gets one or more whole lines, which begin with their
// priority, "<5>text\n". To be called before the first line is logged.
using LogWriter = void (*)(std::string_view lines);
void setLogWriter(LogWriter writer);

void logError(const std::string& text); // at every level but disabled
void logEvent(const std::string& text);
void logDetail(const std::string& text);
void logDebug(const std::string& text);

// "WHAT: the error's text", as an error. Never throws, so a thread can end its last handler with it: if there is no
// memory for the text, the line has `what` alone.
void logFailure(const char* what, const std::exception& error) noexcept;

// One line for each command that changes something, at every level but disabled: who, what, and how it ended.
void audit(const std::string& text);

// While it exists, a thread of its own writes the lines; otherwise each is written where it is logged. If a mebibyte is
// waiting, further lines are dropped and counted. Construct one at most, after the signals have been blocked.
class LogThread {
public:
    LogThread() noexcept; // without memory or a thread for it, lines are written where they are logged
    ~LogThread();
    LogThread(const LogThread&) = delete;
    LogThread& operator=(const LogThread&) = delete;
};

// Waits until all lines are written, at most for that time. Returns whether they are.
bool drainLog(std::chrono::milliseconds time);

// For events that any account can cause as often as it likes: only so many of each account are logged in a minute, the
// others counted.
class ThrottledLog {
public:
    explicit ThrottledLog(unsigned perMinute) : perMinute_(perMinute) {}

    // `account` is who caused it, as text for people. Events that nobody can be made to answer for share one, "".
    void event(const std::string& account, const std::string& text);

private:
    using Clock = std::chrono::steady_clock;

    struct Minute {
        Clock::time_point began{};
        unsigned logged = 0;
        unsigned held = 0; // not logged
    };
    using Minutes = std::map<std::string, Minute>;

    static void forgetOld(Minutes& minutes, Clock::time_point now);

    const unsigned perMinute_;
    platform::Guarded<Minutes> minutes_; // by account
};

} // namespace panelkitd
