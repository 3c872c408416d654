// SPDX-License-Identifier: MIT
//
// The service's command line.
#pragma once

#include <service/base/log.h>
#include <service/engine/engine.h>
#include <service/service_control.h>
#include <service/tokens/providers.h>

#include <optional>
#include <string>
#include <vector>

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
    EngineOptions engine;
    bool releaseFilter = false;                 // remove the packet filter of an engine, and nothing else
    std::string hostedModule;                   // not empty: this process hosts the module at that path
    std::string channel;                        // to the service whose module it hosts
    int inheritedSocket = -1;                   // a descriptor that listens at the endpoint already; see main.cpp
    bool asService = false;                     // the service manager of Windows started this process
    std::optional<ServiceAction> serviceAction; // to be done instead of serving
    ServiceSetup serviceSetup;                  // for that action
};

// Reads the command line: the arguments in UTF-8, without the program's name. If nothing is left to do (help, version,
// or a mistake, which is then reported), returns the exit status.
std::optional<int> readOptions(const std::vector<std::string>& arguments, Options& options);

} // namespace panelkitd
