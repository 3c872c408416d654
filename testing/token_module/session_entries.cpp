// SPDX-License-Identifier: MIT
#include <testing/token_module/entry_points.h>

#include <testing/token_module/call.h>
#include <testing/token_module/failure.h>
#include <testing/token_module/random.h>

#include <algorithm>

namespace panelkit::testing::entry {

namespace {

// A view of the caller's memory: PINs are never copied.
std::string_view bytesOf(const unsigned char* bytes, CK_ULONG size) {
    demand(bytes, CKR_ARGUMENTS_BAD);
    return {reinterpret_cast<const char*>(bytes), size};
}

// Labels of the standard have 32 bytes, padded with blanks.
std::string_view labelOf(const unsigned char* label) {
    const std::string_view whole = bytesOf(label, sizeof(CK_TOKEN_INFO::label));
    return whole.substr(0, whole.find_last_not_of(' ') + 1);
}

} // namespace

CK_RV initToken(CK_SLOT_ID slot, unsigned char* pin, CK_ULONG pinSize, unsigned char* label) {
    return call("C_InitToken",
                [&](Module& module, const Faults&) { module.initToken(slot, bytesOf(pin, pinSize), labelOf(label)); });
}

CK_RV initPin(CK_SESSION_HANDLE session, unsigned char* pin, CK_ULONG pinSize) {
    return call("C_InitPIN", [&](Module& module, const Faults&) { module.initPin(session, bytesOf(pin, pinSize)); });
}

CK_RV setPin(CK_SESSION_HANDLE session, unsigned char* oldPin, CK_ULONG oldSize, unsigned char* newPin,
             CK_ULONG newSize) {
    return call("C_SetPIN", [&](Module& module, const Faults&) {
        module.setPin(session, bytesOf(oldPin, oldSize), bytesOf(newPin, newSize));
    });
}

CK_RV openSession(CK_SLOT_ID slot, CK_FLAGS flags, void*, CK_NOTIFY, CK_SESSION_HANDLE* session) {
    return call("C_OpenSession", [&](Module& module, const Faults& faults) {
        demand(session, CKR_ARGUMENTS_BAD);
        *session = module.openSession(slot, flags);
        if (faults.handle) *session = static_cast<CK_SESSION_HANDLE>(*faults.handle);
    });
}

CK_RV closeSession(CK_SESSION_HANDLE session) {
    return call("C_CloseSession", [&](Module& module, const Faults&) { module.closeSession(session); });
}

CK_RV closeAllSessions(CK_SLOT_ID slot) {
    return call("C_CloseAllSessions", [&](Module& module, const Faults&) {
        module.slots().withToken(slot);
        module.closeAllSessions(slot);
    });
}

CK_RV getSessionInfo(CK_SESSION_HANDLE session, CK_SESSION_INFO* info) {
    return call("C_GetSessionInfo", [&](Module& module, const Faults& faults) {
        demand(info, CKR_ARGUMENTS_BAD);
        *info = module.sessionInfo(session);
        if (faults.garbage) fillWithGarbage(info, sizeof *info);
    });
}

CK_RV login(CK_SESSION_HANDLE session, CK_USER_TYPE user, unsigned char* pin, CK_ULONG pinSize) {
    return call("C_Login", [&](Module& module, const Faults&) { module.login(session, user, bytesOf(pin, pinSize)); });
}

CK_RV logout(CK_SESSION_HANDLE session) {
    return call("C_Logout", [&](Module& module, const Faults&) { module.logout(session); });
}

CK_RV seedRandom(CK_SESSION_HANDLE session, unsigned char* seed, CK_ULONG size) {
    return call("C_SeedRandom", [&](Module& module, const Faults&) {
        demand(seed, CKR_ARGUMENTS_BAD);
        module.seedRandom(session, size);
    });
}

CK_RV generateRandom(CK_SESSION_HANDLE session, unsigned char* bytes, CK_ULONG size) {
    return call("C_GenerateRandom", [&](Module& module, const Faults&) {
        demand(bytes, CKR_ARGUMENTS_BAD);
        module.session(session);
        std::ranges::copy(randomBytes(size), bytes);
    });
}

} // namespace panelkit::testing::entry
