// SPDX-License-Identifier: MIT
//
// Numbers of the service's state that attacks change, to see that none is lost: four of the configuration, four of
// policy settings.
#pragma once

#include <bench/attack/attack.h>

#include <functional>
#include <string>
#include <vector>

namespace attack {

// One number of the service's state: how it is changed for good, and how it is read.
struct Place {
    std::string name;
    std::function<bool(Client&, std::uint32_t)> write;
    std::function<std::uint32_t(Client&)> read;
};

// Each change of the policy settings stores so many bytes.
std::vector<Place> allPlaces(std::size_t bytes = 4000);

// The unfinished files that a service has left in its state folder.
std::size_t unfinishedFilesIn(const std::string& folder);

} // namespace attack
