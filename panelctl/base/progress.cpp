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

} // namespace panelctl
