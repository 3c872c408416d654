// SPDX-License-Identifier: MIT
//
// Whether a certificate is good for a purpose, now, by the certificates and CRLs that tokens hold. What is trusted are
// the self-signed certificates on tokens: only administrators put them there.
#pragma once

#include <service/certs/holdings.h>

#include <cstdint>
#include <string>

namespace panelkitd {

struct Verdict {
    bool verified = false;
    std::string text; // why not; or how the chain went
};

// `how` is a purpose and the bits of vocabulary::verifyFlag. Throws RefusedError for one that there is not. Where
// revocation is left out, the text says nevertheless which certificate of the chain is known to be revoked;
// `whyLeftOut` is the reason that it gives.
Verdict verify(const Holdings& holdings, const PlacedCertificate& certificate, std::uint32_t how,
               const std::string& whyLeftOut);

} // namespace panelkitd
