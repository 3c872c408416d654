// SPDX-License-Identifier: MIT
//
// What is wanted of the IKE daemon: tokens, log-ins and parameters as the rest of the service has told them, and the
// connections of a policy.
#pragma once

#include <service/engine/engine_credentials.h>
#include <service/engine/engine_parameters.h>
#include <service/engine/ike_connections.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace panelkitd {

// What the rest of the service has told the engine.
struct EngineWishes {
    struct Login {
        EngineToken token;
        platform::Secret pin;
        std::uint64_t number = 0; // another one for each log-in
    };

    EngineCredentials credentials;
    EngineParameters parameters;
    std::vector<Login> logins;
    std::uint64_t loginsSoFar = 0;

    // Takes over what was read of the tokens.
    void learn(const EngineCredentials& read);
    void forget(const EngineToken& token); // its log-in has ended

    const Login* login(const EngineToken& token) const;
    // The credentials as the engine can use them: private keys are those of tokens with a log-in.
    EngineCredentials usable() const;
};

// The part of a policy that needs the daemon.
struct IkePlan {
    std::shared_ptr<const PolicyText> text = std::make_shared<PolicyText>();
    std::vector<IkeConnection> connections; // point into the text
};

} // namespace panelkitd
