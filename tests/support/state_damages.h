// SPDX-License-Identifier: MIT
//
// What may be in the place of a file that can't be read as a state file. Files of this kind must stay as they are.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

struct StateDamage {
    std::string name;
    // Puts it in the place of the file, which is there and good.
    std::function<void(const std::filesystem::path&)> put;
    bool isText = false; // it can be read, but makes no sense
};

// Those that only this system has: links, pipes and devices.
std::vector<StateDamage> damagesOfThisSystem();
