// SPDX-License-Identifier: MIT
#include "standard_output.h"

#include "pipe.h"

#include <unistd.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <utility>

namespace {

// Standard output leads into a pipe, whose bytes are passed on as they come.
class Redirected {
public:
    explicit Redirected(std::function<void(std::string_view)> take) {
        std::fflush(stdout);
        former_ = ::dup(output_);
        const Pipe pipe = makePipe();
        if (former_ < 0 || ::dup2(pipe.to, output_) < 0)
            throw std::runtime_error("standard output can't be redirected");
        ::close(pipe.to);
        reader_ = std::thread([from = pipe.from, take = std::move(take)] {
            std::array<char, 65536> part;
            for (;;) {
                const auto got = ::read(from, part.data(), part.size());
                if (got <= 0) break;
                take({part.data(), static_cast<std::size_t>(got)});
            }
            ::close(from);
        });
    }
    void end() {
        std::fflush(stdout);
        ::dup2(former_, output_); // closes the last end for writing, so that the reader ends
        reader_.join();
        ::close(former_);
    }

private:
    const int output_ = ::fileno(stdout);
    int former_ = -1;
    std::thread reader_;
};

} // namespace

std::string printedBy(const std::function<void()>& print) {
    std::string bytes;
    Redirected output([&](std::string_view part) { bytes += part; });
    print();
    output.end();
    return bytes;
}

std::string seenWhile(const std::function<void()>& print, const std::string& wanted, const std::function<void()>& end) {
    std::mutex mutex;
    std::condition_variable changed;
    std::string bytes;
    Redirected output([&](std::string_view part) {
        const std::scoped_lock lock(mutex);
        bytes += part;
        changed.notify_all();
    });
    std::thread printer(print);
    std::unique_lock lock(mutex);
    changed.wait_for(lock, std::chrono::seconds(10), [&] { return bytes == wanted; });
    const std::string seen = bytes;
    lock.unlock();
    end();
    printer.join();
    output.end();
    return seen;
}
