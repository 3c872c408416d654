// SPDX-License-Identifier: MIT
//
// What puts a policy into force on this host. There are two engines: `record` only remembers it (the default, and the
// only one on Windows); `charon` drives an IKE daemon and the packet filter of the kernel.
#pragma once

#include <service/base/refused.h>
#include <service/engine/engine_credentials.h>
#include <service/engine/engine_parameters.h>
#include <service/engine/tunnel_news.h>
#include <service/policyfile/policy_text.h>

#include <panelkit/monitor/tunnel_records.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace panelkitd {

// What is to be in force: the sections of a policy file, or one of the driver policies.
struct EnginePolicy {
    std::uint32_t driverMode = 0; // LSPdropAll, LSPdropAllExceptDHCP or LSPpassAll; used without sections
    std::optional<PolicyText> text;

    // It was in force before this service started. What is missing now, a certificate or the address of a gateway, may
    // come, so it is not an error.
    bool resumed = false;

    std::string owner; // whose policy it is, for people; empty for the system's
};

// Thrown when a policy can't be put into force. The remarks say why; where a section is the reason, they name it and
// its line.
class EngineError : public ExplainedError {
public:
    using ExplainedError::ExplainedError;
};

// Any thread may call any function.
class Engine {
public:
    virtual ~Engine() = default;

    // As in the service's option --engine.
    virtual const char* name() const = 0;

    // Whether it filters and protects traffic. If it does not, it only remembers the policy.
    virtual bool protectsTraffic() const = 0;

    // What an administrator should know of it now, for people: its problems, or that it filters nothing, or that all is
    // well. At least one remark.
    virtual Remarks condition() const = 0;

    // Why it does not do what it should: its daemon is down, its filter is gone. Empty when it does.
    virtual Remarks problems() const { return {}; }

    // Puts the whole policy into force in place of the present one. Throws EngineError if that is not possible; the
    // present one is then in force as before, its filter and its tunnels. At no moment does traffic that the old or the
    // new policy protects leave in clear.
    virtual void apply(const EnginePolicy& policy) = 0;

    // The tunnels that the policy in force asks for, in the order of its sections, with their present state.
    virtual std::vector<panelkit::TunnelInfo> tunnels() const = 0;

    // Acts on the tunnel of a section. Returns when the daemon has accepted or refused the request. Throws EngineError
    // if there is no such tunnel, or the daemon refuses.
    virtual void act(panelkit::TunnelAction action, const std::string& section) = 0;

    // ---- what it needs of the rest of the service. Each returns at once, except tokenLoggedOut(): when that returns,
    // the token's keys can't be used any more, or the log says why they can.

    virtual void credentialsChanged(const EngineCredentials& /*credentials*/) {}
    virtual void parametersChanged(const EngineParameters& /*parameters*/) {}
    virtual void tokenLoggedIn(const EngineToken& /*token*/, const platform::Secret& /*pin*/) {}
    virtual void tokenLoggedOut(const EngineToken& /*token*/) {}
};

struct EngineOptions {
    std::string name = "record";

    // For "charon":
    std::string folder; // private to the service, for the daemon's files
    std::string socket; // of an IKE daemon that is there already; empty: one of our own is started
    EngineParameters parameters;
    std::function<void(const TunnelNews&)> news; // called on a thread of the engine; must not block
};

// The names that makeEngine() accepts on this system.
std::vector<std::string> offeredEngines();

// Throws EngineError when there is no engine of that name on this system, or it can't work here.
std::unique_ptr<Engine> makeEngine(const EngineOptions& options);

// Removes the packet filter of an engine that has ended, for an administrator who is locked out. Everything passes
// then, in clear. Throws EngineError.
void releaseFilter();

} // namespace panelkitd
