// SPDX-License-Identifier: MIT
//
// A certificate in full, as texts for people.
#pragma once

#include <service/certs/holdings.h>

#include <panelkit/certs/cert_records.h>

#include <string>

namespace panelkitd {

// Label and key identifier of the object, the certificate's algorithms and extensions.
CertExtentions describeFully(const StoredCertificate& certificate);

// All of it as OpenSSL prints it, in UTF-8.
std::string printed(const StoredCertificate& certificate);

} // namespace panelkitd
