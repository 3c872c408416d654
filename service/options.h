// SPDX-License-Identifier: MIT
//
// The service's command line.
#pragma once

#include <service/base/log.h>
#include <service/tokens/providers.h>

#include <optional>
#include <string>

namespace panelkitd {

struct Options {
    std::string endpoint;
    std::string state;
    std::string usersGroup;
    std::string administratorsGroup;
    LogLevel logLevel = LogLevel::events;
    ProviderOptions providers;
    std::chrono::seconds tokenPoll{2};  // between two looks for tokens that came or went
    std::chrono::seconds stopGrace{10}; // for commands under way when it is asked to end
    std::string probe;                  // not empty: this process is the probe's child
};

// Reads the command line. When there is nothing more to do (help, version, a mistake, about which it has then said what
// is wrong) gives the status to exit with instead.
std::optional<int> readOptions(int argc, char** argv, Options& options);

} // namespace panelkitd
