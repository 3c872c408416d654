// SPDX-License-Identifier: MIT
//
// The module from C_Initialize to C_Finalize: slots, sessions, log-ins and objects. Nothing here locks: a LoadedModule
// passes it on under its mutex and the FolderLock, after it has read the changes in the folder. Members throw a Failure
// with the value that the call returns.
#pragma once

#include <testing/token_module/attributes.h>
#include <testing/token_module/slots.h>
#include <testing/token_module/token_state.h>

#include <p11-kit/pkcs11.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

namespace panelkit::testing {

struct Session {
    CK_SLOT_ID slot = 0;
    CK_FLAGS flags = 0;
    std::optional<std::vector<CK_OBJECT_HANDLE>> search; // objects still to be returned, the next one last
    std::optional<CK_ULONG> signatureSize;               // of the signature that was begun, in bytes

    bool readWrite() const { return (flags & CKF_RW_SESSION) != 0; }
};

struct KeyPair {
    CK_OBJECT_HANDLE publicKey = 0, privateKey = 0;
};

class Module {
public:
    // Without a folder there is one slot without a token.
    Module(std::filesystem::path folder, std::uint64_t slotSeed);

    // Ends the sessions of tokens that were removed.
    void refresh();
    Slots& slots() { return slots_; }

    // Tokens: module_tokens.cpp. A PIN is a view of the caller's memory; it is not copied.
    CK_TOKEN_INFO tokenInfo(CK_SLOT_ID slot) const; // without the texts, which the caller fills in
    TokenState tokenState(CK_SLOT_ID slot) const;
    void initToken(CK_SLOT_ID slot, std::string_view soPin, std::string_view label);
    void initPin(CK_SESSION_HANDLE handle, std::string_view pin);
    void setPin(CK_SESSION_HANDLE handle, std::string_view oldPin, std::string_view newPin);
    void login(CK_SESSION_HANDLE handle, CK_USER_TYPE user, std::string_view pin);
    void logout(CK_SESSION_HANDLE handle);
    void seedRandom(CK_SESSION_HANDLE handle, CK_ULONG bytes);

    // Sessions: module_sessions.cpp.
    CK_SESSION_HANDLE openSession(CK_SLOT_ID slot, CK_FLAGS flags);
    void closeSession(CK_SESSION_HANDLE handle);
    void closeAllSessions(CK_SLOT_ID slot);
    CK_SESSION_INFO sessionInfo(CK_SESSION_HANDLE handle) const;
    const Session& session(CK_SESSION_HANDLE handle) const;

    // Objects: module_objects.cpp.
    CK_OBJECT_HANDLE createObject(CK_SESSION_HANDLE handle, Attributes object);
    void destroyObject(CK_SESSION_HANDLE handle, CK_OBJECT_HANDLE objectHandle);
    SharedAttributes object(CK_SESSION_HANDLE handle, CK_OBJECT_HANDLE objectHandle) const;
    void changeObject(CK_SESSION_HANDLE handle, CK_OBJECT_HANDLE objectHandle, const Attributes& changes);
    void startSearch(CK_SESSION_HANDLE handle, const Attributes& wanted);
    std::vector<CK_OBJECT_HANDLE> continueSearch(CK_SESSION_HANDLE handle, CK_ULONG most);
    void endSearch(CK_SESSION_HANDLE handle);

    // Pretended keys: module_keys.cpp. Only tokens with the trait have mechanisms.
    std::vector<CK_MECHANISM_TYPE> mechanisms(CK_SLOT_ID slot) const;
    KeyPair generateKeyPair(CK_SESSION_HANDLE handle, Attributes publicKey, Attributes privateKey);
    void startSigning(CK_SESSION_HANDLE handle, CK_OBJECT_HANDLE key);
    CK_ULONG signatureSize(CK_SESSION_HANDLE handle) const;
    void endSigning(CK_SESSION_HANDLE handle);

private:
    struct SessionObject {
        CK_SESSION_HANDLE owner;
        CK_SLOT_ID slot;
        SharedAttributes attributes;
    };

    const std::string& tokenOf(const Session& session) const { return slots_.at(session.slot).token; }
    Session& openedSession(CK_SESSION_HANDLE handle);
    std::optional<CK_USER_TYPE> loggedIn(CK_SLOT_ID slot) const;
    void endLogin(CK_SLOT_ID slot);
    CK_ULONG countSessions(CK_SLOT_ID slot, CK_FLAGS withFlags) const;
    void authenticate(const std::string& token, StoredPin TokenState::*which, std::string_view pin);
    void demandWritable(const Session& session) const;
    void demandRoom(const Session& session, const Attributes& object) const;
    bool visible(const Session& session, const Attributes& object) const;

    std::filesystem::path folder_;
    Slots slots_;
    std::map<CK_SESSION_HANDLE, Session> sessions_;
    std::map<CK_SLOT_ID, CK_USER_TYPE> logins_;
    std::map<CK_OBJECT_HANDLE, SessionObject> sessionObjects_;
    CK_SESSION_HANDLE lastSession_ = 0x100; // differs from the numbers of slots and objects
    CK_OBJECT_HANDLE lastSessionObject_;
};

} // namespace panelkit::testing
