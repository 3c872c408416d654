// SPDX-License-Identifier: MIT
//
// What `panelctl doctor` looks at, in the order in which one thing depends on another: each check gives one finding,
// with one remedy when something is wrong. A check that can't be made is passed over, and says why.
#pragma once

#include <panelctl/say.h>

#include <span>
#include <string>

namespace panelctl {

enum class Health : unsigned char { good, passedOver, warning, bad };

struct Finding {
    Health health = Health::good;
    std::string found;  // what comes from elsewhere in it is escaped
    std::string remedy; // empty for what is in order
};

struct Check {
    const char* name; // for scripts
    Label title;
    bool needsService; // and is passed over when the service can't be reached
    Finding (*look)();
};

// All of them; the first one is that the service can be reached.
std::span<const Check> checks();

} // namespace panelctl
