// SPDX-License-Identifier: MIT
#include "state_damages.h"

std::vector<StateDamage> damagesOfThisSystem() { return {}; } // links need a privilege that tests do not have
