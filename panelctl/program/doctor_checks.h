// SPDX-License-Identifier: MIT
//
// The checks of `panelctl doctor`, in the order in which they depend on each other. Each returns one finding, with one
// remedy when something is wrong. A check that can't be made is skipped, and says why.
#pragma once

#include <panelctl/base/say.h>

#include <span>
#include <string>

namespace panelctl {

enum class Health : unsigned char { good, passedOver, warning, bad };

struct Finding {
    Health health = Health::good;
    std::string found;  // text from elsewhere in it is escaped
    std::string remedy; // empty when nothing is wrong
};

struct Check {
    const char* name; // for scripts
    Label title;
    bool needsService; // it is skipped when the service can't be reached
    Finding (*look)();
};

// All checks; the first one is whether the service can be reached.
std::span<const Check> checks();

} // namespace panelctl
