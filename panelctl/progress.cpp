// SPDX-License-Identifier: MIT
#include <panelctl/progress.h>

#include <panelctl/terminal.h>

#include <chrono>
#include <cstdio>
#include <thread>

namespace panelctl {

namespace {

constexpr auto pace = std::chrono::milliseconds(50);
constexpr auto perDot = std::chrono::seconds(1);

} // namespace

Dots::Dots(const Context& context) : draws_(!context.json && outputIsTerminal() && errorIsTerminal()) {}

void Dots::draw(const SendCommandProgress& progress) const {
    if (!draws_) return;
    bool drawn = false;
    for (auto next = std::chrono::steady_clock::now() + perDot; progress.running; std::this_thread::sleep_for(pace)) {
        if (std::chrono::steady_clock::now() < next) continue;
        next += perDot;
        drawn = std::fputc('.', stderr) != EOF;
        std::fflush(stderr); // a dot that waits in a buffer shows no progress
    }
    if (drawn) std::fputc('\n', stderr);
}

} // namespace panelctl
