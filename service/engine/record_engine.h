// SPDX-License-Identifier: MIT
//
// The engine that puts nothing into force: the service records the policy, and no traffic is filtered or protected.
#pragma once

#include <service/engine/engine.h>

namespace panelkitd {

class RecordEngine : public Engine {
public:
    const char* name() const override { return "record"; }
    bool protectsTraffic() const override { return false; }
    Remarks condition() const override;
    void apply(const EnginePolicy& /*policy*/) override {} // Policies has it
    std::vector<panelkit::TunnelInfo> tunnels() const override { return {}; }
    void act(panelkit::TunnelAction action, const std::string& section) override;
};

} // namespace panelkitd
