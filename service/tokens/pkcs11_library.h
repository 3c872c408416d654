// SPDX-License-Identifier: MIT
//
// A PKCS#11 module, loaded and initialised for as long as this lives.
#pragma once

#include <platform/system/dynamic_library.h>

#include <p11-kit/pkcs11.h>

#include <string>
#include <vector>

namespace panelkitd {

// What a module says of itself.
struct LibraryFacts {
    std::string manufacturer;
    std::string description;
    std::string version;         // "2.6"
    std::string cryptokiVersion; // "2.40"
};

class Pkcs11Library {
public:
    // Loads and initialises the module. Throws std::runtime_error with the reason, also for one that does not answer
    // as a PKCS#11 module does.
    explicit Pkcs11Library(const std::string& path);
    ~Pkcs11Library(); // ends all sessions and log-ins
    Pkcs11Library(const Pkcs11Library&) = delete;
    Pkcs11Library& operator=(const Pkcs11Library&) = delete;

    const CK_FUNCTION_LIST* operator->() const { return functions_; }
    const LibraryFacts& facts() const { return facts_; }

    // The slots that hold a token. A module that announces more than 1024 is not believed.
    std::vector<CK_SLOT_ID> slotsWithToken() const;
    CK_TOKEN_INFO tokenInfo(CK_SLOT_ID slot) const;

    // Whether a token may have come or gone since this was last asked: as the module reports it, or true where it
    // reports nothing of the kind.
    bool slotsMayHaveChanged() const;

private:
    platform::DynamicLibrary library_;
    const CK_FUNCTION_LIST* functions_;
    LibraryFacts facts_;
};

// Loads the module, goes through what every listing asks of it, and reports in one line; what the probe's child process
// does. Throws as Pkcs11Library does.
std::string examineModule(const std::string& path);

// A session with a token that is closed when this goes.
class TokenSession {
public:
    enum class Mode : unsigned char { readOnly, readWrite };
    TokenSession(const Pkcs11Library& library, CK_SLOT_ID slot, Mode mode);
    ~TokenSession();
    TokenSession(const TokenSession&) = delete;
    TokenSession& operator=(const TokenSession&) = delete;

    CK_SESSION_HANDLE handle() const { return handle_; }
    // Leaves it open: somebody else closes it.
    CK_SESSION_HANDLE release();

private:
    const Pkcs11Library& library_;
    CK_SESSION_HANDLE handle_ = 0;
    bool owned_ = true;
};

} // namespace panelkitd
