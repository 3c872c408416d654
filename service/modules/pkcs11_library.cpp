// SPDX-License-Identifier: MIT
#include <service/modules/pkcs11_library.h>

#include <service/base/refused.h>
#include <service/modules/cryptoki.h>

#include <algorithm>
#include <chrono>
#include <thread>

namespace panelkitd {

using vocabulary::Refused;
using namespace std::chrono_literals;

namespace {

constexpr CK_ULONG mostSlots = 1024;
constexpr int mostTries = 16; // to list slots of which one more has a token each time
constexpr Refused unfit = Refused::moduleUnfit;
constexpr std::chrono::milliseconds pausesBeforeAnotherRead[] = {1ms, 4ms, 15ms, 60ms};
constexpr std::size_t mostWaitedFor = 4; // slots

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
    return result == CKR_TOKEN_NOT_PRESENT || result == CKR_TOKEN_NOT_RECOGNIZED || result == CKR_DEVICE_REMOVED ||
           result == CKR_SLOT_ID_INVALID;
}

// A token that stays unreadable is not waited for at each call, and a module with many of them hardly delays a listing.
CK_RV Pkcs11Library::readTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO& info) const {
    CK_RV result = (*this)->C_GetTokenInfo(slot, &info);
    const auto isUnread = [&] { return result != CKR_OK && !meansNoToken(result); };
    if (isUnread() && (unread_.contains(slot) || unread_.size() >= mostWaitedFor)) return result;
    for (const std::chrono::milliseconds pause : pausesBeforeAnotherRead) {
        if (!isUnread()) break;
        std::this_thread::sleep_for(pause);
        result = (*this)->C_GetTokenInfo(slot, &info);
    }
    isUnread() ? void(unread_.insert(slot)) : void(unread_.erase(slot));
    return result;
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
