// SPDX-License-Identifier: MIT
//
// Runs panelctl as its users do.
#pragma once

#include "running_service.h"

#include <chrono>
#include <string>
#include <vector>

// Runs it to its end. The environment has no settings for a service, a language or colours except those in `arguments`
// and `environment`.
platform::ChildResult panelctl(const std::string& endpoint, std::vector<std::string> arguments,
                               const std::string& input = {},
                               std::map<std::string, std::optional<std::string>> environment = {});
