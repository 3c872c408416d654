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
    std::chrono::seconds tokenPoll{2};  // between two checks for inserted and removed tokens
    std::chrono::seconds stopGrace{10}; // for commands in progress when it is asked to end
    std::string probe;                  // not empty: this process is the probe's child
};

// Reads the command line. If nothing is left to do (help, version, or a mistake, which is then reported), returns the
// exit status.
std::optional<int> readOptions(int argc, char** argv, Options& options);

} // namespace panelkitd
