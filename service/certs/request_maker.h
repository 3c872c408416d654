// SPDX-License-Identifier: MIT
//
// Certificate requests (PKCS#10): assembled here, and signed on the token with a key pair that is created there or
// exists already.
#pragma once

#include <service/certs/importer.h>

#include <panelkit/certs/cert_records.h>
#include <vocabulary/certs.h>

#include <string>

namespace panelkitd {

// Makes the request. When that fails, the token stays as it was. Throws RefusedError when the token refuses.
CertOutcome<vocabulary::MakeRequest> makeRequest(HeldToken& token, const CertRequestInfo& wish, std::string& request);
vocabulary::MakeRequest requestResult(vocabulary::Refused reason);

} // namespace panelkitd
