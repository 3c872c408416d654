// SPDX-License-Identifier: MIT
#include <testing/token_module/entry_points.h>

#include <testing/token_module/call.h>
#include <testing/token_module/failure.h>
#include <testing/token_module/shared_files.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <thread>
#include <vector>

namespace panelkit::testing::entry {

namespace {

constexpr std::string_view manufacturer = "panelkit";
constexpr std::size_t repetitions = 200; // of a slot in a list that repeats

// Fills a text of fixed size as in the standard, padded with blanks.
template <std::size_t size>
void fill(unsigned char (&field)[size], std::string_view text, bool garbage) {
    std::memset(field, ' ', size);
    std::memcpy(field, text.data(), std::min(text.size(), size));
    if (garbage) fillWithGarbage(field, size);
}

// Returns a list as the standard says: only its size when there is no room for it. An absurd size is only claimed:
// nothing is written beyond the caller's memory.
void handOut(const std::vector<CK_ULONG>& list, CK_ULONG* to, CK_ULONG* count, const Faults& faults) {
    demand(count, CKR_ARGUMENTS_BAD);
    const CK_ULONG room = *count;
    *count = static_cast<CK_ULONG>(faults.count.value_or(list.size()));
    if (!to) return;
    demand(room >= list.size(), CKR_BUFFER_TOO_SMALL);
    std::ranges::copy(list, to);
}

// The caller's mutexes are not used; the system's are, unless the caller forbids them.
void checkArguments(const CK_C_INITIALIZE_ARGS* arguments) {
    if (!arguments) return;
    const bool all =
        arguments->CreateMutex && arguments->DestroyMutex && arguments->LockMutex && arguments->UnlockMutex;
    const bool any =
        arguments->CreateMutex || arguments->DestroyMutex || arguments->LockMutex || arguments->UnlockMutex;
    demand(!arguments->pReserved && all == any, CKR_ARGUMENTS_BAD);
    demand(!any || (arguments->flags & CKF_OS_LOCKING_OK) != 0, CKR_CANT_LOCK);
}

} // namespace

void fillWithGarbage(void* bytes, CK_ULONG size) {
    using namespace std::string_view_literals;
    constexpr std::string_view pattern = "\xFF\xFE\x1B[31m%s%n\0\r\n\xC3(\x80\xED\xA0\x80\t\x7F"sv;
    auto* place = static_cast<char*>(bytes);
    for (CK_ULONG i = 0; i < size; ++i) place[i] = pattern[i % pattern.size()];
}

CK_RV initialize(void* arguments) {
    return guarded("C_Initialize", [&] {
        const std::filesystem::path folder = folderFromEnvironment();
        const Faults faults = recordAndReadFaults(folder, "C_Initialize");
        suffer(faults, folder, "C_Initialize");
        checkArguments(static_cast<const CK_C_INITIALIZE_ARGS*>(arguments));
        if (!folder.empty() && !std::filesystem::is_directory(folder)) {
            throw std::runtime_error("PANELKIT_TEST_TOKEN_DIR names no folder");
        }
        start(folder, faults.renumber);
    });
}

CK_RV finalize(void* reserved) {
    return guarded("C_Finalize", [&] {
        const std::filesystem::path folder = loadedModule()->folder();
        suffer(recordAndReadFaults(folder, "C_Finalize"), folder, "C_Finalize");
        demand(!reserved, CKR_ARGUMENTS_BAD);
        stop();
    });
}

CK_RV getInfo(CK_INFO* info) {
    return call("C_GetInfo", [&](Module&, const Faults& faults) {
        demand(info, CKR_ARGUMENTS_BAD);
        *info = {};
        const std::uint16_t version = faults.version.value_or(2 << 8 | 40);
        info->cryptokiVersion = {static_cast<unsigned char>(version >> 8), static_cast<unsigned char>(version & 0xFF)};
        info->libraryVersion = {1, 0};
        fill(info->manufacturerID, manufacturer, faults.garbage);
        fill(info->libraryDescription, "Test token module", faults.garbage);
    });
}

CK_RV getSlotList(CK_BBOOL tokenPresent, CK_SLOT_ID* slots, CK_ULONG* count) {
    return call("C_GetSlotList", [&](Module& module, const Faults& faults) {
        std::vector<CK_SLOT_ID> ids;
        for (const Slot& slot : module.slots().all()) {
            const CK_SLOT_ID id = faults.handle ? static_cast<CK_SLOT_ID>(*faults.handle) : slot.id;
            if (!tokenPresent || slot.hasToken()) ids.insert(ids.end(), faults.repeat ? repetitions : 1, id);
        }
        handOut(ids, slots, count, faults);
    });
}

CK_RV getSlotInfo(CK_SLOT_ID slotId, CK_SLOT_INFO* info) {
    return call("C_GetSlotInfo", [&](Module& module, const Faults& faults) {
        demand(info, CKR_ARGUMENTS_BAD);
        const Slot& slot = module.slots().at(slotId);
        *info = {};
        info->flags = CKF_REMOVABLE_DEVICE | (slot.hasToken() ? CKF_TOKEN_PRESENT : 0);
        info->hardwareVersion = info->firmwareVersion = {1, 0};
        fill(info->slotDescription, slot.name, faults.garbage);
        fill(info->manufacturerID, manufacturer, faults.garbage);
    });
}

CK_RV getTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO* info) {
    return call("C_GetTokenInfo", [&](Module& module, const Faults& faults) {
        demand(info, CKR_ARGUMENTS_BAD);
        *info = module.tokenInfo(slot);
        info->hardwareVersion = info->firmwareVersion = {1, 0};
        fill(info->label, module.tokenState(slot).label, faults.garbage);
        fill(info->manufacturerID, manufacturer, faults.garbage);
        fill(info->model, "Test token", faults.garbage);
        fill(info->serialNumber, serialNumber(module.slots().at(slot).token), faults.garbage);
        fill(info->utcTime, "", faults.garbage);
    });
}

CK_RV getMechanismList(CK_SLOT_ID slot, CK_MECHANISM_TYPE* mechanisms, CK_ULONG* count) {
    return call("C_GetMechanismList", [&](Module& module, const Faults& faults) {
        handOut(module.mechanisms(slot), mechanisms, count, faults);
    });
}

CK_RV getMechanismInfo(CK_SLOT_ID slot, CK_MECHANISM_TYPE, CK_MECHANISM_INFO*) {
    return call("C_GetMechanismInfo", [&](Module& module, const Faults&) {
        module.slots().withToken(slot);
        refuse(CKR_MECHANISM_INVALID);
    });
}

// Waits by polling, because the folder can't notify. C_Finalize ends the wait, even when the module is initialised
// again before the next poll.
CK_RV waitForSlotEvent(CK_FLAGS flags, CK_SLOT_ID* slot, void* reserved) {
    constexpr auto betweenLooks = std::chrono::milliseconds(20);
    return guarded("C_WaitForSlotEvent", [&] {
        const std::shared_ptr<LoadedModule> loaded = loadedModule();
        suffer(recordAndReadFaults(loaded->folder(), "C_WaitForSlotEvent"), loaded->folder(), "C_WaitForSlotEvent");
        demand(slot && !reserved, CKR_ARGUMENTS_BAD);
        std::optional<CK_SLOT_ID> event;
        for (;;) {
            loaded->run([&](Module& module) { event = module.slots().takeEvent(); });
            if (event) break;
            demand((flags & CKF_DONT_BLOCK) == 0, CKR_NO_EVENT);
            std::this_thread::sleep_for(betweenLooks);
        }
        *slot = *event;
    });
}

} // namespace panelkit::testing::entry
