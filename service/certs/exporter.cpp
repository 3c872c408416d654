// SPDX-License-Identifier: MIT
#include <service/certs/exporter.h>

#include <service/certs/token_key.h>

#include <platform/text/utf8_character.h>

#include <openssl/pem.h>

namespace panelkitd {

using Loc::N_;
using vocabulary::CertExport;
using vocabulary::ExportCert;
using vocabulary::Refused;

namespace {

constexpr int rounds = 100'000; // of the derivation that protects an exported key
constexpr std::size_t longestPassword = 1024;

std::string pem(const std::vector<PlacedCertificate>& chain) {
    const BioHandle bio = collectingBio();
    for (const PlacedCertificate& link : chain) {
        const std::string& der = link.certificate->der;
        PEM_write_bio(bio.get(), PEM_STRING_X509, "", bytesOf(der), static_cast<long>(der.size()));
    }
    return takenText(bio);
}

Pkcs7Handle pkcs7(const std::vector<PlacedCertificate>& chain) {
    Pkcs7Handle container(PKCS7_new());
    PKCS7_set_type(container.get(), NID_pkcs7_signed);
    PKCS7_content_new(container.get(), NID_pkcs7_data);
    PKCS7_set_detached(container.get(), 1);
    for (const PlacedCertificate& link : chain) {
        PKCS7_add_certificate(container.get(), certificateFrom(link.certificate->der).get());
    }
    return container;
}

std::string pkcs7Pem(const std::vector<PlacedCertificate>& chain) {
    const BioHandle bio = collectingBio();
    PEM_write_bio_PKCS7(bio.get(), pkcs7(chain).get());
    return takenText(bio);
}

std::string pkcs12(const ExportWish& wish, const std::vector<PlacedCertificate>& chain, EVP_PKEY* key) {
    const StoredCertificate& first = *chain.front().certificate;
    const CertificateHandle certificate = certificateFrom(first.der);
    const CertificatesHandle others(sk_X509_new_null());
    for (std::size_t i = 1; i < chain.size(); ++i) {
        sk_X509_push(others.get(), certificateFrom(chain[i].certificate->der).release());
    }
    const Pkcs12Handle container(PKCS12_create(wish.password.c_str(), first.label.c_str(), key, certificate.get(),
                                               others.get(), 0, 0, rounds, rounds, 0));
    return container ? derOf(container.get(), i2d_PKCS12) : std::string();
}

CertOutcome<ExportCert> unfit(ExportCert how, Loc::MarkedWording<> why) {
    return {how, remark(Refused::badInput, why)};
}

} // namespace

CertOutcome<ExportCert> checkWish(const ExportWish& wish) {
    const bool isPkcs12 = wish.format == CertExport::pkcs12;
    if (wish.format > CertExport::pkcs12) return unfit(ExportCert::formatUnfit, N_("There is no such format."));
    if (wish.withKey && !isPkcs12) return unfit(ExportCert::formatUnfit, N_("Only a PKCS#12 holds a private key."));
    if (wish.withChain && wish.format == CertExport::der) {
        return unfit(ExportCert::formatUnfit, N_("DER holds one certificate and no chain."));
    }
    if (!isPkcs12 && !wish.password.empty())
        return unfit(ExportCert::passwordUnfit, N_("Only a PKCS#12 is protected by a password."));
    if (wish.withKey && wish.password.empty()) {
        return unfit(ExportCert::passwordUnfit, N_("A private key is exported under a password only."));
    }
    const bool isText =
        platform::isValidUtf8(wish.password) && wish.password.view().find('\0') == std::string_view::npos;
    if (!isText || wish.password.size() > longestPassword) {
        return unfit(ExportCert::passwordUnfit, N_("The password is not a text, or too long."));
    }
    return ExportCert::exported;
}

CertOutcome<ExportCert> takeKey(HeldToken& token, const StoredCertificate& certificate, KeyHandle& key) {
    if (!token.loggedIn()) {
        return {ExportCert::notLoggedIn,
                remark(Refused::notLoggedIn, "Private keys are seen only after log-in to the token.")};
    }
    const TokenObjects there = readKeys(token);
    const StoredKey* stored = there.keyOf(*certificate.facts, certificate.id);
    if (!stored) {
        return {ExportCert::keyNotExtractable,
                remark(Refused::keyStays, "The token has no private key of this certificate.")};
    }
    const CertificateHandle parsed = certificateFrom(certificate.der);
    if (stored->extractable) key = readPrivateKey(token, stored->object, parsed.get());
    if (!key) {
        return {ExportCert::keyNotExtractable, remark(Refused::keyStays, "The private key may not leave the token.")};
    }
    return ExportCert::exported;
}

std::string exported(const ExportWish& wish, const std::vector<PlacedCertificate>& chain, EVP_PKEY* key) {
    switch (wish.format) {
    case CertExport::pem: return pem(chain);
    case CertExport::der: return chain.front().certificate->der;
    case CertExport::pkcs7Pem: return pkcs7Pem(chain);
    case CertExport::pkcs7Der: return derOf(pkcs7(chain).get(), i2d_PKCS7);
    case CertExport::pkcs12: return pkcs12(wish, chain, key);
    }
    return {};
}

} // namespace panelkitd
