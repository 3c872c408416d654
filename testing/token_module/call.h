// SPDX-License-Identifier: MIT
//
// What every entry point goes through: the faults that are set for it, the locks, and the turning of exceptions
// into return values. The loaded module is the one state of the process; it lives from start() to stop().
#pragma once

#include <testing/token_module/module.h>
#include <testing/token_module/steering.h>

#include <p11-kit/pkcs11.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string_view>

namespace panelkit::testing {

// The module behind its mutex. A call that began before stop() keeps it alive, and finds it stopped.
class LoadedModule {
public:
    LoadedModule(std::filesystem::path folder, std::uint64_t slotSeed);

    const std::filesystem::path& folder() const { return folder_; }
    // Runs the body with the module, up to date, under the mutex and the folder's lock. Throws Failure when the
    // module was stopped.
    void run(const std::function<void(Module&)>& body);
    void stop();

private:
    const std::filesystem::path folder_;
    std::mutex mutex_;
    Module module_;        // guarded by mutex_
    bool stopped_ = false; // guarded by mutex_
};

// What happens before a call's own work: it is recorded, then hangs, waits, kills the process or is refused with a
// Failure, as the folder's faults say.
Faults recordAndReadFaults(const std::filesystem::path& folder, std::string_view function);
void suffer(const Faults& faults, const std::filesystem::path& folder, std::string_view function);

// CKR_OK, or what the exception that `work` throws stands for.
CK_RV guarded(std::string_view function, const std::function<void()>& work);

// The module that is loaded; throws Failure: CKR_CRYPTOKI_NOT_INITIALIZED.
std::shared_ptr<LoadedModule> loadedModule();
void start(const std::filesystem::path& folder, bool renumbered); // throws Failure when one is loaded
void stop();

// A whole call: the body runs once, with the module and the faults of its answer.
CK_RV call(std::string_view function, const std::function<void(Module&, const Faults&)>& body);

} // namespace panelkit::testing
