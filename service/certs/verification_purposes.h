// SPDX-License-Identifier: MIT
//
// The purposes that a certificate can be verified for, and whether the certificate itself allows one.
#pragma once

#include <service/base/refused.h>

#include <platform/loccore/phrase.h>
#include <vocabulary/certs.h>

#include <openssl/x509.h>

#include <cstdint>

namespace panelkitd {

struct PurposeRow {
    vocabulary::VerifyPurpose purpose;
    int openssl;       // X509_PURPOSE_..., 0 for none
    int extendedUsage; // NID_... that an extended key usage must have; 0 for none
    Loc::MarkedWording<'s'> ifUnfit;
};

// Returns the purpose of a request. `how` is a purpose with the bits of vocabulary::verifyFlag. Throws RefusedError for
// an unknown value.
const PurposeRow& purposeOf(std::uint32_t how);

// Returns whether the certificate may be used for the purpose, as far as OpenSSL does not check that itself. An IKE
// peer signs; an extended key usage, if present, names IKE or any.
bool fits(X509* certificate, const PurposeRow& row);

// Returns why the certificate may not be used for the purpose, and names what an administrator has to ask its issuer
// for.
Remarks unfitness(X509* certificate, const PurposeRow& row);

} // namespace panelkitd
