// SPDX-License-Identifier: MIT
//
// Certificate requests (PKCS#10): assembled here, signed on the token by a key pair that is made there or is there.
#pragma once

#include <service/certs/importer.h>

#include <panelkit/certs/cert_records.h>
#include <vocabulary/certs.h>

#include <string>

namespace panelkitd {

// Makes the request; without success the token stays as it was. Throws RefusedError when the token refuses.
Outcome<vocabulary::MakeRequest> makeRequest(HeldToken& token, const CertRequestInfo& wish, std::string& request);
vocabulary::MakeRequest requestResult(vocabulary::Refused reason);

} // namespace panelkitd
