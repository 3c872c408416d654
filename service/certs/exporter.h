// SPDX-License-Identifier: MIT
//
// A certificate in the formats that programs exchange, alone, with its chain, or with its private key.
#pragma once

#include <service/certs/holdings.h>
#include <service/certs/importer.h>

#include <vocabulary/certs.h>

#include <string>
#include <vector>

namespace panelkitd {

struct ExportWish {
    vocabulary::CertExport format = vocabulary::CertExport::pem;
    std::string password; // of a PKCS#12
    bool withChain = false;
    bool withKey = false;
};

// Whether the parts of a wish go together; `exported` when they do.
Outcome<vocabulary::ExportCert> checkWish(const ExportWish& wish);

// The private key of a certificate, out of the token that holds both. Throws RefusedError when the token refuses.
Outcome<vocabulary::ExportCert> takeKey(HeldToken& token, const StoredCertificate& certificate, KeyHandle& key);

// The content of the file. `chain` begins with the certificate; `key` may be null.
std::string exported(const ExportWish& wish, const std::vector<PlacedCertificate>& chain, EVP_PKEY* key);

} // namespace panelkitd
