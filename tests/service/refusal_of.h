// SPDX-License-Identifier: MIT
#pragma once

#include <service/base/refused.h>

// Why work is refused; Refused::none when it is done.
template <class Work>
vocabulary::Refused refusalOf(const Work& work) {
    try {
        work();
    } catch (const panelkitd::RefusedError& refused) {
        return refused.reason;
    }
    return vocabulary::Refused::none;
}
