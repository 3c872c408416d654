// SPDX-License-Identifier: MIT
//
// A pin_client that has done its work and waits while its memory is searched.
#pragma once

#include "running_service.h"

#include <platform/system/child_process.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

// Lets the front end work with the service and keeps it running. The arguments are pin_client's.
inline std::unique_ptr<platform::ChildProcess> runStandingClient(const std::string& endpoint, const std::string& label,
                                                                 const std::string& what, const std::string& input) {
    platform::ChildOptions options;
    options.arguments = {builtProgram("pin_client"), endpoint, label, what};
    options.input = input;
    options.environment["LD_BIND_NOW"] = "1"; // see memory_scan.h
    auto client = std::make_unique<platform::ChildProcess>(options);
    for (int i = 0; i < 2000 && client->outputSoFar().empty() && !client->ended(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return client;
}

// A secret, made at run time from halves, so that no program's own constants hold it.
inline std::string plantedSecret(const char* half, int times) {
    std::string text;
    for (int i = 0; i < times; ++i) text += half + std::to_string(7 * i + 3);
    return text;
}
