// SPDX-License-Identifier: MIT
//
// Any bytes as a file for import: PEM, DER, PKCS#7, PKCS#12, CRLs, keys. The first byte chooses the password. Whatever
// is taken from a file is what OpenSSL reads there, and everything that the service says of it can be said.
#include <fuzz/der_mutator.h>
#include <service/certs/certificate_details.h>
#include <service/certs/parsed_file.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

using namespace panelkitd;

const platform::Secret& password(std::uint8_t which) {
    static const platform::Secret all[] = {platform::Secret(), platform::Secret("secret"), platform::Secret("пароль")};
    return all[which % std::size(all)];
}

// The certificate at the start of a DER file, as OpenSSL alone reads it; empty when it does not start with one.
std::string_view firstCertificate(std::string_view content) {
    std::string_view rest = content;
    if (content.find("-----BEGIN ") != content.npos || !readDer<CertificateHandle>(rest, d2i_X509)) return {};
    return content.substr(0, content.size() - rest.size());
}

void checkCertificate(const ParsedFile& file, std::size_t place) {
    const FileCertificate& certificate = file.certificates[place];
    std::string_view rest = certificate.der;
    const CertificateHandle again = readDer<CertificateHandle>(rest, d2i_X509);
    if (!again || !rest.empty()) std::abort();
    if (!certificate.facts || !certificate.facts->readable) std::abort();
    if (certificate.facts->subject != derOf(X509_get_subject_name(again.get()), i2d_X509_NAME)) std::abort();
    if (certificate.facts->serial != derOf(X509_get_serialNumber(again.get()), i2d_ASN1_INTEGER)) std::abort();
    if (certificate.key && *certificate.key >= file.keys.size()) std::abort();
    if (certificate.issuer && *certificate.issuer >= file.certificates.size()) std::abort();
    if (file.issuersOf(place).size() > 16) std::abort();
    const StoredCertificate stored{1, certificate.der, "id", "label", false, false, certificate.facts};
    describeFully(stored);
    if (printed(stored).empty()) std::abort();
}

void checkCrl(const FileCrl& list, const ParsedFile& file) {
    std::string_view rest = list.der;
    if (!readDer<CrlHandle>(rest, d2i_X509_CRL) || !rest.empty()) std::abort();
    if (!list.facts || !list.facts->readable || list.facts->scope.empty()) std::abort();
    for (const FileCertificate& certificate : file.certificates) list.facts->revokedAt(*certificate.facts);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string content(data + 1, data + size);
    readCertificateFacts(content); // as a module may send them
    readCrlFacts(content);
    ParsedFile file;
    try {
        file = parseFile(content, password(data[0]));
    } catch (const ParseError& error) {
        if (error.remarks.empty()) std::abort();
        return 0;
    }
    if (file.certificates.empty() && file.crls.empty()) std::abort();
    const std::string_view first = firstCertificate(content);
    if (!first.empty() && file.certificates.at(0).der != first) std::abort();
    for (std::size_t i = 0; i < file.certificates.size(); ++i) checkCertificate(file, i);
    for (const FileCrl& list : file.crls) checkCrl(list, file);
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most, unsigned seed) {
    fuzz::Mutator mutator(seed);
    std::string bytes = fuzz::text(data, size);
    if (bytes.empty()) bytes.assign(1, '\0');
    if (mutator.chance(32)) ++bytes[0];
    const std::string content = bytes.substr(1);
    const bool isPem = content.find("-----BEGIN ") != content.npos;
    return fuzz::store(bytes.substr(0, 1) + (isPem ? changedPem(mutator, content) : changedDer(mutator, content)), data,
                       most);
}
