// SPDX-License-Identifier: MIT
//
// Policies that wait: one that takes time to load, and one in force that the engine has not taken yet.
#include <service/policy/policies.h>

#include <service/base/log.h>
#include <service/policy/activation.h>
#include <service/policy/enforcement.h>

#include <platform/system/clock.h>
#include <vocabulary/policy.h>

#include <utility>

namespace panelkitd {

using std::chrono::steady_clock;
namespace settingsField = vocabulary::policySettings;

// Begins to wait for a policy that loads, and returns the news of the activation.
PolicyNews Policies::startLoading(bool activated) {
    const auto memory = memory_.lock();
    const auto delay = std::chrono::milliseconds(memory->state.system.*settingsField::loadingDelay);
    memory->due = steady_clock::now() + delay;
    return newsOf(memory->state, activated);
}

// The policy that is in force by our records once more, which the engine did not take. changing_ is held.
void Policies::resumeEngine() {
    const LoadedPolicy inForce = memory_.lock()->state.inForce;
    Remarks why;
    const bool taken = takenBy(engine_, inForce, true, why);
    if (taken) logEvent("the policy is in force now");
    if (taken) tell(newsOfInForce(inForce, {}));
    const auto memory = memory_.lock();
    memory->notTaken = std::move(why);
    memory->due = steady_clock::now() + retryInterval;
}

void Policies::waitForLoading() {
    auto memory = memory_.lock();
    while (!memory->ending) {
        if (!memory->state.loading && memory->notTaken.empty()) {
            memory.wait(changed_);
        } else if (steady_clock::now() < memory->due) {
            memory.waitUntil(changed_, memory->due);
        } else {
            memory.unlocked([this] { finishDueLoading(); });
        }
    }
}

void Policies::finishDueLoading() {
    const std::scoped_lock changing(changing_);
    {
        auto memory = memory_.lock();
        if (steady_clock::now() < memory->due) return; // another activation came first
        if (!memory->state.loading && memory->notTaken.empty()) return;
        if (!memory->state.loading) return memory.unlocked([this] { resumeEngine(); });
    }
    try {
        change({}, [](PolicyState& next) {
            finishLoading(next, platform::secondsNow<std::int64_t>());
            return true;
        });
        const PolicyState state = memory_.lock()->state;
        tell(newsOf(state, !state.failed));
    } catch (const std::exception& error) { // the cause (a full disk, no memory) may be over after a while
        logFailure("a policy that was loading is not in force yet", error);
        memory_.lock()->due = steady_clock::now() + retryInterval;
    }
}

} // namespace panelkitd
