// SPDX-License-Identifier: MIT
//
// Module 8: the commands on certificates, CRLs, preshared keys and certificate requests. Each handler reads its
// request, does the work, and returns the payload of the reply.
#pragma once

#include <service/base/call.h>
#include <service/certs/expiry_watch.h>
#include <service/certs/preshared_keys.h>
#include <service/config/configuration.h>
#include <service/tokens/providers.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace panelkitd {

class FactsCache;

class CertCommands {
public:
    // `configuration` says how revocation is checked when the request for a verification does not say it.
    // `keyUse` is that of preshared keys which are created.
    CertCommands(Providers& providers, const Configuration& configuration, KeyUse keyUse = KeyUse::stored);
    ~CertCommands();
    CertCommands(const CertCommands&) = delete;
    CertCommands& operator=(const CertCommands&) = delete;

    std::string enumCertificates(Call& call);
    std::string enumCrls(Call& call);
    std::string enumPresharedKeys(Call& call);
    std::string reloadAll(Call& call);

    std::string parseFile(Call& call);
    std::string importCertificate(Call& call);
    std::string importCertificates(Call& call);
    std::string importCrl(Call& call);
    std::string exportCertificate(Call& call);

    std::string certDetails(Call& call);
    std::string certChain(Call& call);
    std::string verifyCert(Call& call);

    std::string deleteCertificate(Call& call);
    std::string deleteCrl(Call& call);
    std::string createPresharedKey(Call& call);
    std::string deletePresharedKey(Call& call);

    std::string requestKeyInfo(Call& call);
    std::string makeRequest(Call& call);
    std::string makeRequestWithPin(Call& call);

    // Returns all certificates on tokens, for the expiry watch.
    std::vector<WatchedCertificate> watched();

    // What was parsed of certificates, for other modules.
    FactsCache& facts();

    // Called when a session has ended. Deletes the file that it has parsed.
    void ended(const bridge::server::Session& session);

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace panelkitd
