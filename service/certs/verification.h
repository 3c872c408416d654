// SPDX-License-Identifier: MIT
//
// Checks whether a certificate is valid for a purpose now, with the certificates and CRLs on tokens. Which certificate
// may be the end of a chain, Holdings::trustIn() decides.
#pragma once

#include <service/base/refused.h>
#include <service/certs/holdings.h>

#include <cstdint>
#include <string>

namespace panelkitd {

struct VerificationResult {
    bool verified = false;
    std::string text; // the reason, or the chain of a valid certificate
    Remarks remarks;  // the same
};

// Verifies a certificate. `how` is a purpose with the bits of vocabulary::verifyFlag. Throws RefusedError for an
// unknown value. If revocation is not checked, the verdict still says which certificate of the chain is known to be
// revoked, with its subject and the time in the wording `revokedAllTheSame`.
VerificationResult verify(const Holdings& holdings, const PlacedCertificate& certificate, std::uint32_t how,
                          Loc::MarkedWording<'s', 's'> revokedAllTheSame);

// Says why the certificate with that subject is trusted.
bridge::Remark trustRemark(const std::string& subject, const Trust& trust);

} // namespace panelkitd
