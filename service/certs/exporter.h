// SPDX-License-Identifier: MIT
//
// Makes files with a certificate: alone, with its chain, or with its private key, in the usual exchange formats.
#pragma once

#include <service/certs/holdings.h>
#include <service/certs/importer.h>

#include <vocabulary/certs.h>

#include <platform/system/secret.h>

#include <string>
#include <vector>

namespace panelkitd {

struct ExportWish {
    vocabulary::CertExport format = vocabulary::CertExport::pem;
    platform::Secret password; // of a PKCS#12
    bool withChain = false;
    bool withKey = false;
};

// Checks that the parts of a wish can be combined. Returns `exported` if so, else the result that says what is wrong.
CertOutcome<vocabulary::ExportCert> checkWish(const ExportWish& wish);

// Reads the private key of a certificate from the token that holds both. Throws RefusedError when the token refuses.
CertOutcome<vocabulary::ExportCert> takeKey(HeldToken& token, const StoredCertificate& certificate, KeyHandle& key);

// Returns the content of the file. `chain` begins with the certificate; `key` may be null.
std::string exported(const ExportWish& wish, const std::vector<PlacedCertificate>& chain, EVP_PKEY* key);

} // namespace panelkitd
