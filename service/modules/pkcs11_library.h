// SPDX-License-Identifier: MIT
//
// A PKCS#11 module, loaded and initialised for as long as this lives.
#pragma once

#include <service/modules/host_protocol.h>

#include <platform/system/dynamic_library.h>

#include <p11-kit/pkcs11.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace panelkitd {

class Pkcs11Library {
public:
    // Loads and initialises the module. Throws std::runtime_error with the reason, also for one that does not answer
    // as a PKCS#11 module does.
    explicit Pkcs11Library(const std::string& path);
    ~Pkcs11Library(); // ends all sessions and log-ins
    Pkcs11Library(const Pkcs11Library&) = delete;
    Pkcs11Library& operator=(const Pkcs11Library&) = delete;

    // For a call of one of its functions, which is counted.
    const CK_FUNCTION_LIST* operator->() const {
        ++calls_;
        return functions_;
    }
    const ModuleFacts& facts() const { return facts_; }

    // How many of its functions were called so far; any thread may ask.
    std::uint64_t calls() const { return calls_; }

    // The slots that hold a token. A module that announces more than 1024 is not believed.
    std::vector<CK_SLOT_ID> slotsWithToken() const;
    CK_TOKEN_INFO tokenInfo(CK_SLOT_ID slot) const;

    // Whether a token may have come or gone since this was last asked: as the module reports it, or true where it
    // reports nothing of the kind.
    bool slotsMayHaveChanged() const;

private:
    platform::DynamicLibrary library_;
    const CK_FUNCTION_LIST* functions_;
    ModuleFacts facts_;
    mutable std::atomic<std::uint64_t> calls_{0};
};

} // namespace panelkitd
