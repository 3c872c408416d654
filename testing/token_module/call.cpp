// SPDX-License-Identifier: MIT
#include <testing/token_module/call.h>

#include <testing/token_module/failure.h>
#include <testing/token_module/shared_files.h>

#include <chrono>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <new>
#include <random>
#include <thread>
#include <utility>

namespace panelkit::testing {

namespace {

using Holder = platform::Guarded<std::shared_ptr<LoadedModule>>;

Holder& holder() {
    static Holder only;
    return only;
}

Faults recordAndReadFaultsLocked(const std::filesystem::path& folder, std::string_view function) {
    if (folder.empty()) return {};
    const std::filesystem::path calls = folder / "calls";
    if (std::filesystem::exists(calls)) appendToFile(calls, std::string(function) + "\n");
    return readFaults(folder, function);
}

// Ends when the test clears the fault, so that a thread of the test's own process can be joined.
void hang(const std::filesystem::path& folder, std::string_view function) {
    for (bool hangs = true; hangs;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        const FolderLock lock(folder);
        hangs = readFaults(folder, function).hang;
    }
}

[[noreturn]] void die(Crash how) {
    volatile int* volatile nowhere = nullptr;
    if (how == Crash::nullWrite) *nowhere = 1;
    std::abort();
}

} // namespace

LoadedModule::LoadedModule(std::filesystem::path folder, std::uint64_t slotSeed)
    : folder_(std::move(folder)), state_(folder_, slotSeed) {}

void LoadedModule::run(const std::function<void(Module&)>& body) {
    const auto state = state_.lock();
    demand(!state->stopped, CKR_CRYPTOKI_NOT_INITIALIZED);
    const FolderLock folderLock(folder_);
    state->module.refresh();
    body(state->module);
}

void LoadedModule::stop() { state_.lock()->stopped = true; }

Faults recordAndReadFaults(const std::filesystem::path& folder, std::string_view function) {
    const FolderLock lock(folder);
    return recordAndReadFaultsLocked(folder, function);
}

void suffer(const Faults& faults, const std::filesystem::path& folder, std::string_view function) {
    if (faults.hang) hang(folder, function);
    std::this_thread::sleep_for(faults.delay);
    if (faults.crash) die(*faults.crash);
    if (faults.result) refuse(static_cast<CK_RV>(*faults.result));
}

// Any other exception than a Failure means a folder that can't be read or written. The reason is printed for the author
// of the test.
CK_RV guarded(std::string_view function, const std::function<void()>& work) {
    try {
        work();
        return CKR_OK;
    } catch (const Failure& failure) {
        return failure.code;
    } catch (const std::bad_alloc&) {
        return CKR_HOST_MEMORY;
    } catch (const std::exception& problem) {
        std::cerr << "panelkit_test_token: " << function << ": " << problem.what() << std::endl;
        return CKR_GENERAL_ERROR;
    }
}

std::shared_ptr<LoadedModule> loadedModule() {
    const auto module = holder().lock();
    demand(*module != nullptr, CKR_CRYPTOKI_NOT_INITIALIZED);
    return *module;
}

void start(const std::filesystem::path& folder, bool renumbered) {
    const auto module = holder().lock();
    demand(!*module, CKR_CRYPTOKI_ALREADY_INITIALIZED);
    const FolderLock folderLock(folder);
    *module = std::make_shared<LoadedModule>(folder, renumbered ? std::random_device{}() : 0);
}

void stop() {
    const auto module = holder().lock();
    demand(*module != nullptr, CKR_CRYPTOKI_NOT_INITIALIZED);
    (*module)->stop();
    module->reset();
}

// A token that is removed between the recording of a call and its work was present when the call began: that must be a
// removed device, while a later call finds no such session or no token. So the removals so far are counted under the
// lock under which the call is recorded: a test that waits for the record and then removes the token comes after the
// count. (A handle that was never valid gets this answer too when any token is removed at that moment.)
CK_RV call(std::string_view function, const std::function<void(Module&, const Faults&)>& body) {
    std::uint64_t removedBefore = 0;
    std::uint64_t removedSince = 0;
    const CK_RV code = guarded(function, [&] {
        const std::shared_ptr<LoadedModule> loaded = loadedModule();
        Faults faults;
        loaded->run([&](Module& module) {
            removedBefore = module.slots().removals();
            faults = recordAndReadFaultsLocked(loaded->folder(), function);
        });
        suffer(faults, loaded->folder(), function);
        loaded->run([&](Module& module) {
            removedSince = module.slots().removals() - removedBefore;
            body(module, faults);
        });
    });
    const bool gone = code == CKR_SESSION_HANDLE_INVALID || code == CKR_TOKEN_NOT_PRESENT;
    return gone && removedSince > 0 ? CKR_DEVICE_REMOVED : code;
}

} // namespace panelkit::testing
