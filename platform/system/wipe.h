// SPDX-License-Identifier: MIT
//
// Secrets leave no trace: overwriting that the compiler may not drop. All of it is inline, for front ends too.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>

namespace platform {

// Overwrites `size` bytes with zeros.
inline void wipe(void* bytes, std::size_t size) {
    if (size == 0) return;
    // Called through a volatile pointer: what the optimiser does not know it can't leave out.
    static void* (*const volatile overwrite)(void*, int, std::size_t) = std::memset;
    overwrite(bytes, 0, size);
}

// Overwrites all that the string's storage holds, behind its end too, and empties it. Strings that held a
// secret are wiped before they are destroyed or moved from: a short one lives in the object itself, and
// neither its destructor nor a move clears that.
inline void wipe(std::string& secret) {
    secret.resize(secret.capacity());
    wipe(secret.data(), secret.size());
    secret.clear();
}

// Wipes a string when the scope ends, however it ends.
class WipeOnExit {
public:
    explicit WipeOnExit(std::string& secret) : secret_(secret) {}
    ~WipeOnExit() { wipe(secret_); }
    WipeOnExit(const WipeOnExit&) = delete;
    WipeOnExit& operator=(const WipeOnExit&) = delete;

private:
    std::string& secret_;
};

} // namespace platform
