// SPDX-License-Identifier: MIT
#include <service/modules/pkcs11_library.h>

#include <service/base/refused.h>
#include <service/modules/cryptoki.h>

#include <algorithm>
#include <iterator>
#include <thread>
#include <utility>

namespace panelkitd {

using vocabulary::Refused;
using namespace std::chrono_literals;

namespace {

constexpr CK_ULONG mostSlots = 1024;
constexpr int mostTries = 16; // to list slots of which one more has a token each time
constexpr Refused unfit = Refused::moduleUnfit;
constexpr std::chrono::milliseconds pausesBeforeAnotherRead[] = {1ms, 4ms, 15ms};
constexpr auto mostWaiting = 200ms; // in a listing, so that a module that always says something else delays it little

const CK_FUNCTION_LIST* functionList(const platform::DynamicLibrary& library) {
    const auto getList = library.function<CK_C_GetFunctionList>("C_GetFunctionList");
    if (!getList) throw RefusedError(unfit, "it is not a PKCS#11 module: it has no C_GetFunctionList");
    CK_FUNCTION_LIST* list = nullptr;
    check(getList(&list), "C_GetFunctionList");
    if (!list) throw RefusedError(unfit, "it is not a usable PKCS#11 module: its function list is empty");
    if (list->version.major != 2) {
        throw RefusedError(unfit, "its function list has version %d.%d; only 2.x is understood", list->version.major,
                           list->version.minor);
    }
    // A module whose table of functions has null entries would crash the first listing.
    const bool whole = list->C_Initialize && list->C_Finalize && list->C_GetInfo && list->C_GetSlotList &&
                       list->C_GetTokenInfo && list->C_OpenSession && list->C_CloseSession && list->C_Login &&
                       list->C_Logout && list->C_FindObjectsInit && list->C_FindObjects && list->C_FindObjectsFinal &&
                       list->C_GetAttributeValue && list->C_CreateObject && list->C_DestroyObject &&
                       list->C_InitToken && list->C_InitPIN && list->C_SetPIN && list->C_SeedRandom &&
                       list->C_CloseAllSessions && list->C_GetSessionInfo && list->C_GenerateKeyPair &&
                       list->C_SignInit && list->C_Sign && list->C_GetMechanismList;
    if (!whole) throw RefusedError(unfit, "it is not a usable PKCS#11 module: functions are missing from its list");
    return list;
}

// Only one thread calls the module, but the module may have its own threads. So it is asked to use the locks of the
// operating system. A module that can't use them is initialised without that.
void initialize(const CK_FUNCTION_LIST* functions) {
    CK_C_INITIALIZE_ARGS arguments{};
    arguments.flags = CKF_OS_LOCKING_OK;
    CK_RV result = functions->C_Initialize(&arguments);
    if (result == CKR_CANT_LOCK) result = functions->C_Initialize(nullptr);
    if (result == CKR_CRYPTOKI_ALREADY_INITIALIZED) {
        throw RefusedError(Refused::alreadyLoaded,
                           "the module says that it is initialised already, although only this process uses it");
    }
    check(result, "C_Initialize");
}

std::string versionText(CK_VERSION version) {
    return std::to_string(version.major) + "." + std::to_string(version.minor);
}

ModuleFacts askFacts(const CK_FUNCTION_LIST* functions) {
    CK_INFO info{};
    check(functions->C_GetInfo(&info), "C_GetInfo");
    return {fieldText(info.manufacturerID), fieldText(info.libraryDescription), versionText(info.libraryVersion),
            versionText(info.cryptokiVersion)};
}

} // namespace

Pkcs11Library::Pkcs11Library(const std::string& path)
    : library_(path, platform::DynamicLibrary::AtEnd::keep), functions_(functionList(library_)) {
    initialize(functions_);
    try {
        facts_ = askFacts(functions_);
    } catch (...) {
        functions_->C_Finalize(nullptr);
        throw;
    }
}

Pkcs11Library::~Pkcs11Library() { functions_->C_Finalize(nullptr); }

std::vector<CK_SLOT_ID> Pkcs11Library::slotsWithToken() const {
    waited_ = 0ms;
    for (int tries = 0; tries < mostTries; ++tries) {
        CK_ULONG count = 0;
        check((*this)->C_GetSlotList(CK_TRUE, nullptr, &count), "C_GetSlotList");
        if (count > mostSlots) {
            throw RefusedError(Refused::deviceError, "the module announces %d slots, which can't be right", count);
        }
        std::vector<CK_SLOT_ID> slots(count);
        if (count == 0) return slots;
        const CK_RV result = (*this)->C_GetSlotList(CK_TRUE, slots.data(), &count);
        if (result == CKR_BUFFER_TOO_SMALL) continue; // a token came meanwhile
        check(result, "C_GetSlotList");
        slots.resize(std::min<std::size_t>(count, slots.size()));
        return slots;
    }
    throw RefusedError(Refused::deviceError, "the module announces another number of slots each time");
}

bool meansNoToken(CK_RV result) {
    return result == CKR_TOKEN_NOT_RECOGNIZED || refusalOf(result) == Refused::noSuchToken;
}

bool Pkcs11Library::Description::operator==(const Description& other) const {
    return result == other.result && info.flags == other.info.flags &&
           std::equal(std::begin(info.label), std::end(info.label), std::begin(other.info.label)) &&
           std::equal(std::begin(info.serialNumber), std::end(info.serialNumber), std::begin(other.info.serialNumber));
}

Pkcs11Library::Description Pkcs11Library::describe(CK_SLOT_ID slot) const {
    Description now;
    now.result = (*this)->C_GetTokenInfo(slot, &now.info);
    if (now.result != CKR_OK) now.info = {};
    return now;
}

CK_RV Pkcs11Library::readTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO& info) const {
    Description now = describe(slot);
    const auto known = last_.find(slot);
    if (meansNoToken(now.result)) {
        last_.erase(slot);
    } else if (known == last_.end() || now != known->second) {
        now = lasting(slot, now, known == last_.end() ? nullptr : &known->second);
        if (last_.size() >= mostSlots) last_.clear(); // a module may invent slots
        last_[slot] = now;
    }
    info = now.info;
    return now.result;
}

// Reads again until the module says what it said before, or to the last pause. Returns the last reading. Of a token
// that is new, two readings that agree are enough.
Pkcs11Library::Description Pkcs11Library::lasting(CK_SLOT_ID slot, Description now, const Description* before) const {
    for (const std::chrono::milliseconds pause : pausesBeforeAnotherRead) {
        if (waited_ >= mostWaiting) break;
        waited_ += pause;
        std::this_thread::sleep_for(pause);
        const Description former = std::exchange(now, describe(slot));
        if (before ? now == *before : now == former && now.result == CKR_OK) break;
    }
    return now;
}

CK_TOKEN_INFO Pkcs11Library::tokenInfo(CK_SLOT_ID slot) const {
    CK_TOKEN_INFO info{};
    check(readTokenInfo(slot, info), "C_GetTokenInfo");
    return info;
}

// The call must not wait for an event: a call that waits could be ended only by unloading the module.
bool Pkcs11Library::slotsMayHaveChanged() const {
    if (!functions_->C_WaitForSlotEvent) return true;
    for (CK_ULONG events = 0; events < mostSlots; ++events) {
        CK_SLOT_ID slot = 0;
        const CK_RV result = (*this)->C_WaitForSlotEvent(CKF_DONT_BLOCK, &slot, nullptr);
        if (result == CKR_NO_EVENT) return events > 0;
        if (result != CKR_OK) break;
    }
    return true;
}

} // namespace panelkitd
