// SPDX-License-Identifier: MIT
//
// One certificate: details, chain, verification, export.
#include <service/certs/cert_calls.h>

#include <service/refused.h>

namespace panelkitd {
std::string CertModule::exportCertificate(Call&) { throw RefusedError(vocabulary::Refused::notSupported, "not yet"); }
std::string CertModule::certDetails(Call&) { throw RefusedError(vocabulary::Refused::notSupported, "not yet"); }
std::string CertModule::certChain(Call&) { throw RefusedError(vocabulary::Refused::notSupported, "not yet"); }
std::string CertModule::verifyCert(Call&) { throw RefusedError(vocabulary::Refused::notSupported, "not yet"); }
} // namespace panelkitd
