// SPDX-License-Identifier: MIT
//
// Whether a certificate is good for a purpose, now, by the certificates and CRLs that tokens hold. What is trusted are
// the self-signed certificates on tokens: only administrators put them there.
#pragma once

#include <service/base/refused.h>
#include <service/certs/holdings.h>

#include <cstdint>
#include <string>

namespace panelkitd {

struct Verdict {
    bool verified = false;
    std::string text; // why not; or how the chain goes
    Remarks remarks;  // the same
};

// `how` is a purpose and the bits of vocabulary::verifyFlag. Throws RefusedError for one that there is not. Where
// revocation is left out, the verdict says nevertheless which certificate of the chain is known to be revoked, with its
// subject and the time in the wording `revokedAllTheSame`.
Verdict verify(const Holdings& holdings, const PlacedCertificate& certificate, std::uint32_t how,
               Loc::MarkedWording<'s', 's'> revokedAllTheSame);

} // namespace panelkitd
