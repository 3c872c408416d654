// SPDX-License-Identifier: MIT
//
// Preshared keys and certificate requests.
#include <service/certs/cert_calls.h>

#include <service/refused.h>

namespace panelkitd {
std::string CertModule::enumPresharedKeys(Call&) { throw RefusedError(vocabulary::Refused::notSupported, "not yet"); }
std::string CertModule::createPresharedKey(Call&) { throw RefusedError(vocabulary::Refused::notSupported, "not yet"); }
std::string CertModule::deletePresharedKey(Call&) { throw RefusedError(vocabulary::Refused::notSupported, "not yet"); }
std::string CertModule::requestKeyInfo(Call&) { throw RefusedError(vocabulary::Refused::notSupported, "not yet"); }
std::string CertModule::makeRequest(Call&) { throw RefusedError(vocabulary::Refused::notSupported, "not yet"); }
} // namespace panelkitd
