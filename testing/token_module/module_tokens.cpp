// SPDX-License-Identifier: MIT
#include <testing/token_module/module.h>

#include <testing/token_module/failure.h>

namespace panelkit::testing {

namespace {

void demandPinLength(std::string_view pin) {
    demand(pin.size() >= shortestPin && pin.size() <= longestPin, CKR_PIN_LEN_RANGE);
}

CK_FLAGS when(bool holds, CK_FLAGS flag) { return holds ? flag : 0; }

// The flags of the user's PIN, and those of the security officer's, which are four bits higher.
CK_FLAGS pinFlags(const StoredPin& pin, unsigned tries) {
    if (!pin.hash) return 0;
    const unsigned left = pin.triesLeft(tries);
    return when(pin.wrongTries > 0, CKF_USER_PIN_COUNT_LOW) | when(left == 1, CKF_USER_PIN_FINAL_TRY) |
           when(left == 0, CKF_USER_PIN_LOCKED);
}
static_assert(CKF_SO_PIN_COUNT_LOW == CKF_USER_PIN_COUNT_LOW << 4 && CKF_SO_PIN_LOCKED == CKF_USER_PIN_LOCKED << 4);

} // namespace

TokenState Module::tokenState(CK_SLOT_ID slot) const { return loadToken(folder_, slots_.withToken(slot).token); }

CK_TOKEN_INFO Module::tokenInfo(CK_SLOT_ID slot) const {
    const TokenState state = tokenState(slot);
    const TokenTraits traits = readTraits(folder_, slots_.at(slot).token);
    CK_TOKEN_INFO info{};
    info.flags = CKF_RNG | CKF_LOGIN_REQUIRED | when(traits.writeProtected, CKF_WRITE_PROTECTED) |
                 when(state.initialised(), CKF_TOKEN_INITIALIZED) |
                 when(state.user.hash.has_value(), CKF_USER_PIN_INITIALIZED) | pinFlags(state.user, traits.tries) |
                 pinFlags(state.so, traits.tries) << 4;
    info.ulMaxSessionCount = CK_EFFECTIVELY_INFINITE;
    info.ulSessionCount = countSessions(slot, 0);
    info.ulMaxRwSessionCount = CK_EFFECTIVELY_INFINITE;
    info.ulRwSessionCount = countSessions(slot, CKF_RW_SESSION);
    info.ulMaxPinLen = longestPin;
    info.ulMinPinLen = shortestPin;
    info.ulTotalPublicMemory = info.ulFreePublicMemory = CK_UNAVAILABLE_INFORMATION;
    info.ulTotalPrivateMemory = info.ulFreePrivateMemory = CK_UNAVAILABLE_INFORMATION;
    return info;
}

void Module::initToken(CK_SLOT_ID slot, std::string_view soPin, std::string_view label) {
    const std::string& token = slots_.withToken(slot).token;
    demand(countSessions(slot, 0) == 0, CKR_SESSION_EXISTS);
    demand(!readTraits(folder_, token).writeProtected, CKR_TOKEN_WRITE_PROTECTED);
    TokenState state = loadToken(folder_, token);
    if (state.initialised())
        authenticate(token, &TokenState::so, soPin);
    else
        demandPinLength(soPin);
    state.so.set(soPin);
    state.user = {};
    state.label = label;
    ObjectStore(folder_, token).removeAll();
    storeToken(folder_, token, state);
}

void Module::initPin(CK_SESSION_HANDLE handle, std::string_view pin) {
    const Session& session = this->session(handle);
    demand(loggedIn(session.slot) == CKU_SO, CKR_USER_NOT_LOGGED_IN);
    demandWritable(session);
    demandPinLength(pin);
    TokenState state = loadToken(folder_, tokenOf(session));
    state.user.set(pin);
    storeToken(folder_, tokenOf(session), state);
}

// The security officer's own PIN after his log-in, else the user's. An invalid new PIN costs no try.
void Module::setPin(CK_SESSION_HANDLE handle, std::string_view oldPin, std::string_view newPin) {
    const Session& session = this->session(handle);
    demandWritable(session);
    demandPinLength(newPin);
    const auto which = loggedIn(session.slot) == CKU_SO ? &TokenState::so : &TokenState::user;
    const std::string& token = tokenOf(session);
    authenticate(token, which, oldPin);
    TokenState state = loadToken(folder_, token);
    (state.*which).set(newPin);
    storeToken(folder_, token, state);
}

void Module::login(CK_SESSION_HANDLE handle, CK_USER_TYPE user, std::string_view pin) {
    const Session& session = this->session(handle);
    demand(user != CKU_CONTEXT_SPECIFIC, CKR_OPERATION_NOT_INITIALIZED);
    demand(user == CKU_SO || user == CKU_USER, CKR_USER_TYPE_INVALID);
    if (const auto already = loggedIn(session.slot)) {
        refuse(*already == user ? CKR_USER_ALREADY_LOGGED_IN : CKR_USER_ANOTHER_ALREADY_LOGGED_IN);
    }
    const bool readOnlyOnes = countSessions(session.slot, 0) > countSessions(session.slot, CKF_RW_SESSION);
    demand(user != CKU_SO || !readOnlyOnes, CKR_SESSION_READ_ONLY_EXISTS);
    const bool pinSet = loadToken(folder_, tokenOf(session)).user.hash.has_value();
    demand(user != CKU_USER || pinSet, CKR_USER_PIN_NOT_INITIALIZED);
    authenticate(tokenOf(session), user == CKU_SO ? &TokenState::so : &TokenState::user, pin);
    logins_[session.slot] = user;
}

void Module::logout(CK_SESSION_HANDLE handle) {
    const CK_SLOT_ID slot = session(handle).slot;
    demand(loggedIn(slot).has_value(), CKR_USER_NOT_LOGGED_IN);
    endLogin(slot);
}

void Module::seedRandom(CK_SESSION_HANDLE handle, CK_ULONG bytes) {
    const std::string& token = tokenOf(session(handle));
    TokenState state = loadToken(folder_, token);
    state.seededBytes += bytes;
    storeToken(folder_, token, state);
}

// The count is stored before the answer is given, so that it is valid for other processes too.
void Module::authenticate(const std::string& token, StoredPin TokenState::*which, std::string_view pin) {
    TokenState state = loadToken(folder_, token);
    demand((state.*which).hash.has_value(), CKR_PIN_INCORRECT);
    const PinCheck check = (state.*which).check(pin, readTraits(folder_, token).tries);
    storeToken(folder_, token, state);
    demand(check != PinCheck::locked, CKR_PIN_LOCKED);
    demand(check == PinCheck::right, CKR_PIN_INCORRECT);
}

// Called before changes: the token may have become write-protected after the session was opened.
void Module::demandWritable(const Session& session) const {
    demand(session.readWrite(), CKR_SESSION_READ_ONLY);
    demand(!readTraits(folder_, tokenOf(session)).writeProtected, CKR_TOKEN_WRITE_PROTECTED);
}

} // namespace panelkit::testing
