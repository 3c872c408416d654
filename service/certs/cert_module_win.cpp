// SPDX-License-Identifier: MIT
//
// There is no OpenSSL for this build.
#include <service/certs/cert_module.h>

#include <service/refused.h>

namespace panelkitd {

struct CertModule::State {};

namespace {

[[noreturn]] std::string notHere() {
    throw RefusedError(vocabulary::Refused::notSupported, "this build of the service does not handle certificates");
}

} // namespace

CertModule::CertModule(Providers&, const Configuration&) {}
std::vector<WatchedCertificate> CertModule::watched() { return {}; }
std::optional<CredentialList> CertModule::credentials() { return std::nullopt; }
CertModule::~CertModule() = default;
void CertModule::ended(const bridge::server::Session&) {}

std::string CertModule::enumCertificates(Call&) { notHere(); }
std::string CertModule::enumCrls(Call&) { notHere(); }
std::string CertModule::enumPresharedKeys(Call&) { notHere(); }
std::string CertModule::reloadAll(Call&) { notHere(); }
std::string CertModule::parseFile(Call&) { notHere(); }
std::string CertModule::importCertificate(Call&) { notHere(); }
std::string CertModule::importCrl(Call&) { notHere(); }
std::string CertModule::exportCertificate(Call&) { notHere(); }
std::string CertModule::certDetails(Call&) { notHere(); }
std::string CertModule::certChain(Call&) { notHere(); }
std::string CertModule::verifyCert(Call&) { notHere(); }
std::string CertModule::deleteCertificate(Call&) { notHere(); }
std::string CertModule::deleteCrl(Call&) { notHere(); }
std::string CertModule::createPresharedKey(Call&) { notHere(); }
std::string CertModule::deletePresharedKey(Call&) { notHere(); }
std::string CertModule::requestKeyInfo(Call&) { notHere(); }
std::string CertModule::makeRequest(Call&) { notHere(); }

} // namespace panelkitd
