// SPDX-License-Identifier: MIT
#include <service/policy/enforcement.h>

#include <service/base/log.h>
#include <service/policy/activation.h>

#include <utility>

namespace panelkitd {

using vocabulary::Refused;

bool takenBy(Engine& engine, const LoadedPolicy& policy, bool resumed, Remarks& why) {
    try {
        engine.apply(enginePolicyOf(policy, resumed));
        return true;
    } catch (const std::exception& error) {
        why = {remark(Refused::notInForce, "the policy can't be put into force")};
        for (bridge::Remark& reason : explained(error)) why.push_back(std::move(reason));
        return false;
    }
}

Remarks resumeOrClose(Engine& engine, const LoadedPolicy& inForce) {
    Remarks why;
    if (takenBy(engine, inForce, true, why)) return {};
    LoadedPolicy closed;
    closed.wanted.request = driverRequest(LSPdropAllExceptDhcp);
    Remarks whyNot;
    if (!takenBy(engine, closed, true, whyNot)) {
        logError("nor can everything be dropped except DHCP: " + inEnglish(whyNot));
    }
    return why;
}

} // namespace panelkitd
