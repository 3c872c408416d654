// SPDX-License-Identifier: MIT
//
// Controllers for verbs that may take long: a dot a second on the terminal while a command runs, and no delay when it
// ends. The library's own console controllers stay silent, or sleep for whole seconds. Dots go to standard error, so
// they never get into a result.
#pragma once

#include <panelctl/base/verbs.h>

#include <panelkit/certs/certs_controller.h>
#include <panelkit/monitor/monitor_controller.h>
#include <panelkit/tokens/tokens_controller.h>

#include <chrono>
#include <cstddef>

namespace panelctl {

class Dots {
public:
    // Draws only for people: with text as output, on a terminal.
    explicit Dots(const Context& context);

    // Stays until the command has ended, so that the line of dots can be ended as well.
    void draw(const SendCommandProgress& progress) const;

private:
    bool draws_;
};

// How many of a known number are done: a line on the terminal's last line, from one second on. It is on standard error.
class ProgressBar {
public:
    ProgressBar(const Context& context, std::size_t count);
    ~ProgressBar() { hide(); }
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void show(std::size_t done);
    // Removes it, before another line is printed.
    void hide();

private:
    std::chrono::steady_clock::time_point began_ = std::chrono::steady_clock::now();
    std::size_t count_;
    bool draws_;
    bool shown_ = false;
};

template <class Controller>
class WithDots : public Controller {
public:
    explicit WithDots(const Context& context) : dots_(context) {}

    void OnExecuteCommand(const SendCommandProgress& progress) override { dots_.draw(progress); }

private:
    Dots dots_;
};

using TokensWithDots = WithDots<CLIVpnTokensController>;
using CertsWithDots = WithDots<VpnCertsSilentController>;
using MonitorWithDots = WithDots<panelkit::MonitorController>;

} // namespace panelctl
