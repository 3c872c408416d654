// SPDX-License-Identifier: MIT
#include <service/engine/record_engine.h>

namespace panelkitd {

using vocabulary::Refused;

Remarks RecordEngine::condition() const {
    return {remark(Refused::engineState, "the policy is recorded; no traffic is filtered")};
}

void RecordEngine::act(panelkit::TunnelAction, const std::string&) {
    throw EngineError({remark(Refused::notSupported, "this service only records the policy; it has no tunnels")});
}

} // namespace panelkitd
