// SPDX-License-Identifier: MIT
//
// A PKCS#11 module. It is loaded and initialised by the constructor, and finalised by the destructor.
#pragma once

#include <service/modules/host_protocol.h>

#include <platform/system/dynamic_library.h>

#include <p11-kit/pkcs11.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace panelkitd {

class Pkcs11Library {
public:
    // Loads and initialises the module. `path` is in UTF-8. Throws std::runtime_error with the reason when the file
    // can't be loaded or does not behave as a PKCS#11 module.
    explicit Pkcs11Library(const std::string& path);
    ~Pkcs11Library(); // ends all sessions and log-ins
    Pkcs11Library(const Pkcs11Library&) = delete;
    Pkcs11Library& operator=(const Pkcs11Library&) = delete;

    // Used to call a function of the module. Each call is counted.
    const CK_FUNCTION_LIST* operator->() const {
        ++calls_;
        return functions_;
    }
    const ModuleFacts& facts() const { return facts_; }

    // Returns how many functions of the module were called so far. Any thread may call this.
    std::uint64_t calls() const { return calls_; }

    // Returns the slots that hold a token. Throws RefusedError when the module refuses, or reports more than 1024
    // slots, which can't be right.
    std::vector<CK_SLOT_ID> slotsWithToken() const;

    // Reads the description of the token in a slot. While another program changes the token, some modules return an
    // error for a moment, or a description without its texts. So one that is not as before is believed only if the
    // module still says so after 20 ms. Returns what C_GetTokenInfo returned at last.
    CK_RV readTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO& info) const;
    // The same. Throws RefusedError when the token can't be read.
    CK_TOKEN_INFO tokenInfo(CK_SLOT_ID slot) const;

    // Returns whether a token may have come or gone since the last call. Returns true when the module does not report
    // such events.
    bool slotsMayHaveChanged() const;

private:
    // What C_GetTokenInfo said. Equal if result, label, serial number and flags are; the rest may change at any time.
    struct Description {
        CK_RV result = CKR_OK;
        CK_TOKEN_INFO info{};
        bool operator==(const Description& other) const;
    };

    Description describe(CK_SLOT_ID slot) const;
    Description lasting(CK_SLOT_ID slot, Description now, const Description* before) const;

    platform::DynamicLibrary library_;
    const CK_FUNCTION_LIST* functions_;
    ModuleFacts facts_;
    mutable std::atomic<std::uint64_t> calls_{0};
    mutable std::map<CK_SLOT_ID, Description> last_; // as they were believed
    mutable std::chrono::milliseconds waited_{0};    // in this listing
};

// Returns whether the result of C_GetTokenInfo means that there is no token to read: it was removed, or the module does
// not know tokens of its kind.
bool meansNoToken(CK_RV result);

} // namespace panelkitd
