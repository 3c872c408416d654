// SPDX-License-Identifier: MIT
//
// The common path of all entry points: the faults that are set for them, the locks, and the conversion of exceptions to
// return values. The loaded module is the only state of the process; it exists from start() to stop().
#pragma once

#include <testing/token_module/module.h>
#include <testing/token_module/steering.h>

#include <platform/system/guarded.h>

#include <p11-kit/pkcs11.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>

namespace panelkit::testing {

// The module behind its mutex. A call that began before stop() keeps it alive, but gets a Failure.
class LoadedModule {
public:
    LoadedModule(std::filesystem::path folder, std::uint64_t slotSeed);

    const std::filesystem::path& folder() const { return folder_; }
    // Runs the body with the module, up to date, under the mutex and the folder's lock. Throws Failure when the
    // module was stopped.
    void run(const std::function<void(Module&)>& body);
    void stop();

private:
    struct State {
        State(const std::filesystem::path& folder, std::uint64_t slotSeed) : module(folder, slotSeed) {}

        Module module;
        bool stopped = false;
    };

    const std::filesystem::path folder_;
    platform::Guarded<State> state_;
};

// Runs before a call's own work. It records the call; then, as the folder's faults say, it hangs, waits, kills the
// process or throws a Failure.
Faults recordAndReadFaults(const std::filesystem::path& folder, std::string_view function);
void suffer(const Faults& faults, const std::filesystem::path& folder, std::string_view function);

// Returns CKR_OK, or the value for an exception that `work` throws.
CK_RV guarded(std::string_view function, const std::function<void()>& work);

// The module that is loaded; throws Failure: CKR_CRYPTOKI_NOT_INITIALIZED.
std::shared_ptr<LoadedModule> loadedModule();
void start(const std::filesystem::path& folder, bool renumbered); // throws Failure when one is loaded
void stop();

// A whole call: the body runs once, with the module and the faults for its answer.
CK_RV call(std::string_view function, const std::function<void(Module&, const Faults&)>& body);

} // namespace panelkit::testing
