// SPDX-License-Identifier: MIT
//
// The module for commands that the other modules do not have: the state of providers and tokens, key pairs, labels in
// bulk, settings that are written and not committed, the check of policy files, and the engine with its tunnels. Each
// handler reads its request, does the work, and returns the payload of the reply.
#pragma once

#include <service/base/call.h>
#include <service/certs/cert_commands.h>
#include <service/config/configuration.h>
#include <service/engine/engine.h>
#include <service/policy/policies.h>
#include <service/tokens/providers.h>

#include <string>

namespace panelkitd {

class MonitorCommands {
public:
    // Uses the cache of `certificates`, so that a certificate is parsed once for both modules.
    MonitorCommands(Providers& providers, CertCommands& certificates, Configuration& configuration, Engine& engine,
                    const Policies& policies)
        : providers_(providers),
          certificates_(certificates),
          configuration_(configuration),
          engine_(engine),
          policies_(policies) {}

    std::string states(Call& call);

    std::string enumKeys(Call& call);
    std::string publicKey(Call& call);
    std::string generateKey(Call& call);
    std::string deleteKey(Call& call);
    std::string deleteCertificateAndKey(Call& call);

    std::string enumLabels(Call& call);

    std::string uncommitted(Call& call);
    std::string revert(Call& call);

    static std::string checkPolicy(Call& call);

    std::string engine(Call& call);
    std::string tunnels(Call& call);
    std::string actOnTunnel(Call& call);

private:
    Providers& providers_;
    CertCommands& certificates_;
    Configuration& configuration_;
    Engine& engine_;
    const Policies& policies_;
};

} // namespace panelkitd
