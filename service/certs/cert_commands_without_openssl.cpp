// SPDX-License-Identifier: MIT
//
// The handlers in a build without OpenSSL. They refuse all commands.
#include <service/certs/cert_commands.h>

#include <service/base/refused.h>
#include <service/certs/openssl_memory.h>

namespace panelkitd {

bool wipeOpensslMemory() { return true; }

struct CertCommands::State {};

namespace {

[[noreturn]] std::string notHere() {
    throw RefusedError(vocabulary::Refused::notSupported, "this build of the service does not handle certificates");
}

} // namespace

CertCommands::CertCommands(Providers&, const Configuration&) {}
std::vector<WatchedCertificate> CertCommands::watched() { return {}; }
std::optional<CredentialList> CertCommands::credentials() { return std::nullopt; }
CertCommands::~CertCommands() = default;
void CertCommands::ended(const bridge::server::Session&) {}

std::string CertCommands::enumCertificates(Call&) { notHere(); }
std::string CertCommands::enumCrls(Call&) { notHere(); }
std::string CertCommands::enumPresharedKeys(Call&) { notHere(); }
std::string CertCommands::reloadAll(Call&) { notHere(); }
std::string CertCommands::parseFile(Call&) { notHere(); }
std::string CertCommands::importCertificate(Call&) { notHere(); }
std::string CertCommands::importCrl(Call&) { notHere(); }
std::string CertCommands::exportCertificate(Call&) { notHere(); }
std::string CertCommands::certDetails(Call&) { notHere(); }
std::string CertCommands::certChain(Call&) { notHere(); }
std::string CertCommands::verifyCert(Call&) { notHere(); }
std::string CertCommands::deleteCertificate(Call&) { notHere(); }
std::string CertCommands::deleteCrl(Call&) { notHere(); }
std::string CertCommands::createPresharedKey(Call&) { notHere(); }
std::string CertCommands::deletePresharedKey(Call&) { notHere(); }
std::string CertCommands::requestKeyInfo(Call&) { notHere(); }
std::string CertCommands::makeRequest(Call&) { notHere(); }

} // namespace panelkitd
