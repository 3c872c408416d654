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
    std::map<std::string, std::string> pinFiles; // by the labels of the tokens that the service logs in to
    std::chrono::seconds tokenPoll{2};           // between two looks for tokens that came or went
    std::chrono::seconds stopGrace{10};          // for commands under way when it is asked to end
    std::string hostedModule;                    // not empty: this process hosts the module at that path
    std::string channel;                         // to the service whose module it hosts
    int inheritedSocket = -1;                    // a descriptor that listens at the endpoint already; see main.cpp
};

// Reads the command line. If nothing is left to do (help, version, or a mistake, which is then reported), returns the
// exit status.
std::optional<int> readOptions(int argc, char** argv, Options& options);

} // namespace panelkitd
