// SPDX-License-Identifier: MIT
//
// Overwrites secrets in memory, in a way that the compiler can't remove as unnecessary. All of it is inline, for front
// ends too.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>

namespace platform {

// Overwrites `size` bytes with zeros.
inline void wipe(void* bytes, std::size_t size) {
    if (size == 0) return;
    // The function is called through a volatile pointer. The optimiser does not know which function that is, so it
    // can't remove the call.
    static void* (*const volatile overwrite)(void*, int, std::size_t) = std::memset;
    overwrite(bytes, 0, size);
}

// Overwrites the whole storage of the string, also the part after its end, and empties the string. Strings that held a
// secret are wiped before they are destroyed or moved from: a short one lives in the object itself, and neither its
// destructor nor a move clears that.
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
