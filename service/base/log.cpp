// SPDX-License-Identifier: MIT
#include <service/base/log.h>

#include <platform/system/clock.h>
#include <platform/text/escape.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <utility>

namespace panelkitd {

namespace {

// The process-wide state of the log.
std::atomic<LogLevel> currentLevel{LogLevel::events};
std::mutex lineMutex; // lines stay whole

// The priorities of syslog, which the journal accepts as a prefix.
enum class Priority : int { error = 3, notice = 5, info = 6, debug = 7 };

bool journalReads() {
    static const bool reads = std::getenv("JOURNAL_STREAM") != nullptr;
    return reads;
}

// Tokens and clients decide on some of the text.
std::string oneLine(const std::string& text) {
    constexpr std::size_t longest = 8000; // bytes; names are shorter already (platform::quotedName)
    return platform::escaped(platform::shortened(text, longest));
}

void write(LogLevel needed, Priority priority, const std::string& text) {
    const LogLevel level = currentLevel;
    if (level == LogLevel::disabled || level < needed) return;
    const std::scoped_lock lock(lineMutex);
    if (journalReads()) {
        (void)std::fprintf(stderr, "<%d>%s\n", static_cast<int>(priority), oneLine(text).c_str());
    } else {
        (void)std::fprintf(stderr, "%s %s\n", platform::isoText(platform::secondsNow()).c_str(), oneLine(text).c_str());
    }
}

} // namespace

void setLogLevel(LogLevel level) { currentLevel = level; }

void logError(const std::string& text) { write(LogLevel::events, Priority::error, "error: " + text); }
void logEvent(const std::string& text) { write(LogLevel::events, Priority::notice, text); }
void logDetail(const std::string& text) { write(LogLevel::details, Priority::info, text); }
void logDebug(const std::string& text) { write(LogLevel::debug, Priority::debug, text); }

void logFailure(const char* what, const std::exception& error) noexcept {
    try {
        logError(std::string(what) + ": " + error.what());
    } catch (const std::exception&) {
        if (currentLevel.load() == LogLevel::disabled) return;
        (void)std::fprintf(stderr, "%serror: %s: there is no memory to say why\n", journalReads() ? "<3>" : "", what);
    }
}

void ThrottledLog::event(const std::string& text) {
    unsigned before = 0;
    {
        const auto minute = minute_.lock();
        if (Clock::now() - minute->began >= std::chrono::minutes(1)) {
            before = minute->held;
            *minute = {.began = Clock::now()};
        }
        if (++minute->logged > perMinute_) {
            ++minute->held;
            return;
        }
    }
    if (before > 0) logEvent("(" + std::to_string(before) + " more such events were not logged)");
    logEvent(text);
}

void audit(const std::string& text) { write(LogLevel::events, Priority::notice, "audit: " + text); }

} // namespace panelkitd
