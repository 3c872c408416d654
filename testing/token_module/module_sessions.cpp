// SPDX-License-Identifier: MIT
#include <testing/token_module/module.h>

#include <testing/token_module/failure.h>

#include <algorithm>
#include <utility>

namespace panelkit::testing {

namespace {

constexpr CK_OBJECT_HANDLE firstSessionObject = 0x80000000; // the numbers of token objects are smaller

std::vector<SlotLine> slotLines(const std::filesystem::path& folder) {
    if (folder.empty()) return {{"empty"}};
    return readSlots(folder);
}

} // namespace

Module::Module(std::filesystem::path folder, std::uint64_t slotSeed)
    : folder_(std::move(folder)), slots_(slotSeed, slotLines(folder_)), lastSessionObject_(firstSessionObject) {}

void Module::refresh() {
    for (const CK_SLOT_ID slot : slots_.update(slotLines(folder_))) closeAllSessions(slot);
}

CK_SESSION_HANDLE Module::openSession(CK_SLOT_ID slotId, CK_FLAGS flags) {
    const Slot& slot = slots_.withToken(slotId);
    demand((flags & CKF_SERIAL_SESSION) != 0, CKR_SESSION_PARALLEL_NOT_SUPPORTED);
    demand(loadToken(folder_, slot.token).initialised(), CKR_TOKEN_NOT_RECOGNIZED);
    if ((flags & CKF_RW_SESSION) != 0) {
        demand(!readTraits(folder_, slot.token).writeProtected, CKR_TOKEN_WRITE_PROTECTED);
    } else {
        demand(loggedIn(slotId) != CKU_SO, CKR_SESSION_READ_WRITE_SO_EXISTS);
    }
    sessions_[++lastSession_] = {slotId, flags & (CKF_RW_SESSION | CKF_SERIAL_SESSION)};
    return lastSession_;
}

void Module::closeSession(CK_SESSION_HANDLE handle) {
    const CK_SLOT_ID slot = session(handle).slot;
    std::erase_if(sessionObjects_, [&](const auto& object) { return object.second.owner == handle; });
    sessions_.erase(handle);
    if (countSessions(slot, 0) == 0) logins_.erase(slot);
}

// Works for a removed slot too.
void Module::closeAllSessions(CK_SLOT_ID slot) {
    std::erase_if(sessionObjects_, [&](const auto& object) { return object.second.slot == slot; });
    std::erase_if(sessions_, [&](const auto& session) { return session.second.slot == slot; });
    logins_.erase(slot);
}

CK_SESSION_INFO Module::sessionInfo(CK_SESSION_HANDLE handle) const {
    const Session& session = this->session(handle);
    const auto user = loggedIn(session.slot);
    CK_STATE state = session.readWrite() ? CKS_RW_PUBLIC_SESSION : CKS_RO_PUBLIC_SESSION;
    if (user == CKU_USER) state = session.readWrite() ? CKS_RW_USER_FUNCTIONS : CKS_RO_USER_FUNCTIONS;
    if (user == CKU_SO) state = CKS_RW_SO_FUNCTIONS;
    return {session.slot, state, session.flags, 0};
}

const Session& Module::session(CK_SESSION_HANDLE handle) const {
    const auto found = sessions_.find(handle);
    demand(found != sessions_.end(), CKR_SESSION_HANDLE_INVALID);
    return found->second;
}

Session& Module::openedSession(CK_SESSION_HANDLE handle) {
    session(handle);
    return sessions_.at(handle);
}

CK_ULONG Module::countSessions(CK_SLOT_ID slot, CK_FLAGS withFlags) const {
    return static_cast<CK_ULONG>(std::ranges::count_if(sessions_, [&](const auto& entry) {
        return entry.second.slot == slot && (entry.second.flags & withFlags) == withFlags;
    }));
}

std::optional<CK_USER_TYPE> Module::loggedIn(CK_SLOT_ID slot) const {
    const auto found = logins_.find(slot);
    if (found == logins_.end()) return std::nullopt;
    return found->second;
}

// Private objects are visible only with the log-in: private session objects are destroyed, and searches ended.
void Module::endLogin(CK_SLOT_ID slot) {
    logins_.erase(slot);
    std::erase_if(sessionObjects_, [&](const auto& object) {
        return object.second.slot == slot && object.second.attributes->isTrue(CKA_PRIVATE);
    });
    for (auto& [handle, session] : sessions_) {
        if (session.slot == slot) session.search.reset();
    }
}

} // namespace panelkit::testing
