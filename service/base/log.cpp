// SPDX-License-Identifier: MIT
#include <service/base/log.h>

#include <platform/system/clock.h>
#include <platform/text/escape.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <utility>

namespace panelkitd {

namespace {

// The process-wide state of the log.
std::atomic<LogLevel> currentLevel{LogLevel::events};
std::atomic<LogWriter> otherWriter{nullptr};

// The priorities of syslog, which the journal accepts as a prefix.
enum class Priority : int { error = 3, notice = 5, info = 6, debug = 7 };

bool readerTakesPriorities() {
    static const bool journalReads = std::getenv("JOURNAL_STREAM") != nullptr;
    return journalReads || otherWriter.load();
}

// Tokens and clients decide on some of the text.
std::string oneLine(const std::string& text) {
    constexpr std::size_t longest = 8000; // bytes; names are shorter already (platform::quotedName)
    return platform::escaped(platform::shortened(text, longest));
}

// Windows may keep in a buffer what fwrite() gets, also for standard error.
void put(const std::string& lines) {
    if (const LogWriter writer = otherWriter) return writer(lines);
    (void)std::fwrite(lines.data(), 1, lines.size(), stderr);
    (void)std::fflush(stderr);
}

// The lines between those who log and the thread that writes. It is never freed: that thread may hang in a write while
// the process ends.
class LineQueue {
public:
    static LineQueue& instance() {
        static auto* const queue = new LineQueue;
        return *queue;
    }

    void add(const std::string& line) {
        {
            const auto state = state_.lock();
            if (state->threaded) {
                if (state->lines.size() + line.size() > largest) {
                    ++state->dropped;
                } else {
                    state->lines += line;
                }
                changed_.notify_all();
                return;
            }
        }
        put(line); // one call, so the line stays whole
    }

    void start() {
        const auto state = state_.lock();
        if (!std::exchange(state->hasThread, true)) {
            try {
                std::thread([this] { run(); }).detach();
            } catch (...) {
                state->hasThread = false;
                throw;
            }
        }
        state->threaded = true;
    }
    void stop() { state_.lock()->threaded = false; }
    bool drain(std::chrono::milliseconds time) {
        auto state = state_.lock();
        return state.waitFor(changed_, time, [&] { return state->isEmpty(); });
    }

private:
    static constexpr std::size_t largest = std::size_t{1} << 20; // bytes

    struct State {
        std::string lines;
        unsigned dropped = 0;
        bool writing = false;
        bool hasThread = false; // there is at most one, so `writing` is its own
        bool threaded = false;  // lines go to the thread

        bool isEmpty() const { return lines.empty() && dropped == 0 && !writing; }
    };

    void run();

    platform::Guarded<State> state_;
    std::condition_variable changed_;
};

std::string header(Priority priority) {
    if (readerTakesPriorities()) return "<" + std::to_string(static_cast<int>(priority)) + ">";
    return platform::isoText(platform::secondsNow()) + " ";
}

void LineQueue::run() {
    auto state = state_.lock();
    for (;;) {
        state.wait(changed_, [&] { return !state->lines.empty() || state->dropped > 0; });
        std::string lines = std::exchange(state->lines, {});
        const unsigned dropped = std::exchange(state->dropped, 0);
        state->writing = true;
        state.unlocked([&] {
            if (dropped > 0) {
                lines += header(Priority::error) + "error: " + std::to_string(dropped) +
                         " lines are missing here, because the log was not read\n";
            }
            put(lines);
        });
        state->writing = false;
        changed_.notify_all();
    }
}

void write(LogLevel needed, Priority priority, const std::string& text) {
    const LogLevel level = currentLevel;
    if (level == LogLevel::disabled || level < needed) return;
    LineQueue::instance().add(header(priority) + oneLine(text) + "\n");
}

} // namespace

void setLogLevel(LogLevel level) { currentLevel = level; }

void setLogWriter(LogWriter writer) { otherWriter = writer; }

void logError(const std::string& text) { write(LogLevel::events, Priority::error, "error: " + text); }
void logEvent(const std::string& text) { write(LogLevel::events, Priority::notice, text); }
void logDetail(const std::string& text) { write(LogLevel::details, Priority::info, text); }
void logDebug(const std::string& text) { write(LogLevel::debug, Priority::debug, text); }

void logFailure(const char* what, const std::exception& error) noexcept {
    try {
        logError(std::string(what) + ": " + error.what());
    } catch (const std::exception&) {
        if (currentLevel.load() == LogLevel::disabled) return;
        (void)std::fprintf(stderr, "%serror: %s: there is no memory to say why\n", readerTakesPriorities() ? "<3>" : "",
                           what);
    }
}

LogThread::LogThread() noexcept {
    try {
        LineQueue::instance().start();
    } catch (const std::exception& error) {
        logFailure("there is no thread for the log", error);
    }
}

LogThread::~LogThread() {
    LineQueue::instance().stop();
    drainLog(std::chrono::seconds(1));
}

bool drainLog(std::chrono::milliseconds time) { return LineQueue::instance().drain(time); }

void ThrottledLog::event(const std::string& account, const std::string& text) {
    unsigned before = 0;
    {
        const auto minutes = minutes_.lock();
        const auto now = Clock::now();
        if (minutes->find(account) == minutes->end()) forgetOld(*minutes, now);
        Minute& minute = (*minutes)[account];
        if (now - minute.began >= std::chrono::minutes(1)) {
            before = minute.held;
            minute = {.began = now};
        }
        if (++minute.logged > perMinute_) {
            ++minute.held;
            return;
        }
    }
    const std::string whose = account.empty() ? "" : " of " + account;
    if (before > 0) logEvent("(" + std::to_string(before) + " more such events" + whose + " were not logged)");
    logEvent(text);
}

// Accounts that were quiet since.
void ThrottledLog::forgetOld(Minutes& minutes, Clock::time_point now) {
    std::erase_if(minutes, [now](const auto& entry) {
        return entry.second.held == 0 && now - entry.second.began >= std::chrono::minutes(1);
    });
}

void audit(const std::string& text) { write(LogLevel::events, Priority::notice, "audit: " + text); }

} // namespace panelkitd
