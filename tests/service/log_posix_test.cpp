// SPDX-License-Identifier: MIT
//
// A log whose reader has stopped reading delays nobody, and no account can fill the log with what it was refused.
#include <service/base/log.h>

#include <gmock/gmock.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <sstream>
#include <string>
#include <thread>

using namespace std::chrono_literals;

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

TEST(TheLog, HasSoManyEventsOfAnAccountAndAllOfAnother) {
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

} // namespace
