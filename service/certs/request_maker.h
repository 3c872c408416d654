// SPDX-License-Identifier: MIT
//
// Certificate requests (PKCS#10): assembled here, and signed on the token with a key pair that is created there or
// exists already.
#pragma once

#include <service/certs/importer.h>

#include <panelkit/certs/cert_records.h>
#include <platform/system/secret.h>
#include <vocabulary/certs.h>

#include <string>

namespace panelkitd {

// Makes the request. When that fails, the token stays as it was. Throws RefusedError when the token refuses. `pin` is
// the user's, for a key that asks for it at each use; it is not used for other keys. Without it, such a key is refused.
CertOutcome<vocabulary::MakeRequest> makeRequest(HeldToken& token, const CertRequestInfo& wish,
                                                 const platform::Secret* pin, std::string& request);
vocabulary::MakeRequest requestResult(vocabulary::Refused reason);

} // namespace panelkitd
