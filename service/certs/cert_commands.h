// SPDX-License-Identifier: MIT
//
// Module 8: the commands on certificates, CRLs, preshared keys and certificate requests. Each handler reads its
// request, does the work, and gives the reply. A build without OpenSSL refuses them all.
#pragma once

#include <service/base/call.h>
#include <service/certs/credentials.h>
#include <service/certs/expiry_watch.h>
#include <service/config/configuration.h>
#include <service/tokens/providers.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace panelkitd {

class CertCommands {
public:
    // The configuration says how revocation is looked at where a verification leaves that open.
    CertCommands(Providers& providers, const Configuration& configuration);
    ~CertCommands();
    CertCommands(const CertCommands&) = delete;
    CertCommands& operator=(const CertCommands&) = delete;

    std::string enumCertificates(Call& call);
    std::string enumCrls(Call& call);
    std::string enumPresharedKeys(Call& call);
    std::string reloadAll(Call& call);

    std::string parseFile(Call& call);
    std::string importCertificate(Call& call);
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

    // All certificates on tokens, for the watch over those that end.
    std::vector<WatchedCertificate> watched();

    // What a policy may need of the tokens; nothing in a build that can't look into them.
    std::optional<CredentialList> credentials();

    // A session is over, and what it parsed is forgotten.
    void ended(const bridge::server::Session& session);

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace panelkitd
