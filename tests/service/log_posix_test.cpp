// SPDX-License-Identifier: MIT
//
// A log whose reader has stopped reading delays nobody, and no account can fill the log with what it was refused.
#include <service/base/log.h>

#include "../support/test.h"

#include <fcntl.h>
#include <unistd.h>

namespace {

// Standard error is a pipe for as long as this exists.
class PipedLog {
public:
    PipedLog() : former_(::dup(STDERR_FILENO)) {
        if (::pipe(ends_.data()) != 0) throw std::runtime_error("no pipe");
        ::dup2(ends_[1], STDERR_FILENO);
        ::fcntl(ends_[0], F_SETFL, O_NONBLOCK);
    }
    ~PipedLog() {
        ::dup2(former_, STDERR_FILENO);
        for (const int one : {former_, ends_[0], ends_[1]}) ::close(one);
    }
    PipedLog(const PipedLog&) = delete;
    PipedLog& operator=(const PipedLog&) = delete;

    // What is there now.
    ssize_t readSome(std::array<char, 65536>& bytes) const { return ::read(ends_[0], bytes.data(), bytes.size()); }
    std::string readAll() const {
        std::string text;
        std::array<char, 65536> bytes{};
        for (;;) {
            const ssize_t got = ::read(ends_[0], bytes.data(), bytes.size());
            if (got > 0) {
                text.append(bytes.data(), static_cast<std::size_t>(got));
            } else if (panelkitd::drainLog(0ms)) {
                return text;
            } else {
                std::this_thread::sleep_for(1ms);
            }
        }
    }

private:
    const int former_;
    std::array<int, 2> ends_{};
};

TEST(TheLog, DelaysNobodyWhenItsReaderStops) {
    constexpr int lines = 40'000; // four mebibytes; the pipe has 64 KiB, the queue a mebibyte
    const std::string text(100, 'x');
    PipedLog pipe;
    const panelkitd::LogThread thread;
    for (int i = 0; i < lines; ++i) panelkitd::logEvent(text);
    EXPECT_FALSE(panelkitd::drainLog(10ms));
    std::istringstream log(pipe.readAll() + pipe.readAll());
    int whole = 0, missing = 0;
    for (std::string line; std::getline(log, line);) {
        const auto place = line.find(" lines are missing here");
        if (place == std::string::npos) {
            EXPECT_THAT(line, testing::EndsWith(" " + text));
            ++whole;
        } else {
            missing += std::stoi(line.substr(line.rfind(' ', place - 1)));
        }
    }
    EXPECT_GT(missing, 0);
    EXPECT_EQ(whole + missing, lines) << "each line is there or counted";
}

TEST(TheLog, HasALimitOfEventsForEachAccount) {
    PipedLog pipe;
    panelkitd::ThrottledLog events(10);
    for (int i = 0; i < 1000; ++i) events.event("eve", "eve was refused");
    for (int i = 0; i < 5; ++i) events.event("bob", "bob was refused");
    const std::string log = pipe.readAll();
    const auto linesWith = [&](const std::string& name) {
        int count = 0;
        for (std::size_t at = 0; (at = log.find(name + " was refused", at)) != std::string::npos; ++at) ++count;
        return count;
    };
    EXPECT_EQ(linesWith("eve"), 10);
    EXPECT_EQ(linesWith("bob"), 5);
}

TEST(TheLog, HasLinesOfItsLevelAndOneLineForEachEvent) {
    PipedLog pipe;
    for (const auto& [level, expected] : {std::pair(panelkitd::LogLevel::disabled, ""),
                                          {panelkitd::LogLevel::events, "e"},
                                          {panelkitd::LogLevel::details, "ed"},
                                          {panelkitd::LogLevel::debug, "edb"}}) {
        panelkitd::setLogLevel(level);
        panelkitd::logEvent("(e)");
        panelkitd::logDetail("(d)");
        panelkitd::logDebug("(b)");
        std::string seen;
        const std::string log = pipe.readAll();
        for (const char one : {'e', 'd', 'b'}) {
            if (log.find(std::string("(") + one + ")") != std::string::npos) seen += one;
        }
        EXPECT_EQ(seen, expected);
    }
    panelkitd::setLogLevel(panelkitd::LogLevel::events);
    panelkitd::logEvent("a name\naudit: root\r\x1B[2J\x7F\u202E");
    panelkitd::logEvent(std::string(100'000, 'x'));
    const std::string log = pipe.readAll();
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2);
    EXPECT_EQ(std::count_if(log.begin(), log.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; }), 2);
    EXPECT_EQ(log.find("\u202E"), std::string::npos);
    EXPECT_LT(log.size(), 10'000U);
}

TEST(TheLog, IsWrittenToItsEnd) {
    constexpr int lines = 100;
    PipedLog pipe;
    for (int round = 0; round < 20; ++round) {
        {
            const panelkitd::LogThread thread;
            for (int i = 0; i < lines; ++i) panelkitd::logEvent("a line");
        }
        std::string log;
        std::array<char, 65536> bytes{};
        for (ssize_t got = 0; (got = pipe.readSome(bytes)) > 0;)
            log.append(bytes.data(), static_cast<std::size_t>(got));
        ASSERT_EQ(std::count(log.begin(), log.end(), '\n'), lines) << "when the thread is told to end";
    }
}

} // namespace
