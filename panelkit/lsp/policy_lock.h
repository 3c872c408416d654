// SPDX-License-Identifier: MIT
//
// The one lock of the process that every LSPController operation takes. It is recursive. It protects the exchange with
// the service, the use of the session pool for it, and the user's settings file. It does not lock out other processes.
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
