// SPDX-License-Identifier: MIT
#include <panelctl/base/progress.h>

#include <panelctl/base/system.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>

namespace panelctl {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto pace = std::chrono::milliseconds(50);
constexpr auto perDot = std::chrono::seconds(1);

// A command that ends soon is noticed soon: looking for its end delays it by a tenth at most.
Clock::duration pauseAfter(Clock::duration elapsed) {
    return std::clamp<Clock::duration>(elapsed / 10, std::chrono::milliseconds(1), pace);
}

} // namespace

Dots::Dots(const Context& context) : draws_(!context.json && outputIsTerminal() && errorIsTerminal()) {}

void Dots::draw(const SendCommandProgress& progress) const {
    if (!draws_) return;
    bool drawn = false;
    const Clock::time_point began = Clock::now();
    for (auto next = began + perDot; progress.running; std::this_thread::sleep_for(pauseAfter(Clock::now() - began))) {
        if (Clock::now() < next) continue;
        next += perDot;
        drawn = std::fputc('.', stderr) != EOF;
        std::fflush(stderr); // a dot that waits in a buffer shows no progress
    }
    if (drawn) std::fputc('\n', stderr);
}

ProgressBar::ProgressBar(const Context& context, std::size_t count)
    : count_(count), draws_(count > 1 && !context.json && errorIsTerminal()) {}

void ProgressBar::show(std::size_t done) {
    constexpr std::size_t width = 40;
    if (!draws_ || done >= count_ || Clock::now() < began_ + perDot) return;
    const std::size_t filled = width * done / count_;
    std::fprintf(stderr, "\r[%s%s] %zu/%zu", std::string(filled, '#').c_str(), std::string(width - filled, ' ').c_str(),
                 done, count_);
    std::fflush(stderr);
    shown_ = true;
}

void ProgressBar::hide() {
    constexpr std::size_t widest = 79;
    if (!shown_) return;
    std::fprintf(stderr, "\r%s\r", std::string(widest, ' ').c_str());
    std::fflush(stderr);
    shown_ = false;
}

} // namespace panelctl
