// SPDX-License-Identifier: MIT
//
// The one lock of the process that every LSPController operation takes. It is recursive. Under it stand the exchange
// with the service, the session pool's use for it, and the user's settings file; other processes are not shut out.
#pragma once

#include <mutex>

namespace panelkit {

class PolicyLock {
public:
    PolicyLock() : held_(mutex()) {}

private:
    static std::recursive_mutex& mutex() {
        static std::recursive_mutex theMutex;
        return theMutex;
    }

    std::lock_guard<std::recursive_mutex> held_;
};

} // namespace panelkit
