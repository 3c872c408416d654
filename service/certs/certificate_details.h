// SPDX-License-Identifier: MIT
//
// All details of a certificate, as texts for people.
#pragma once

#include <service/certs/holdings.h>

#include <panelkit/certs/cert_records.h>

#include <string>

namespace panelkitd {

// Label and key identifier of the object, the certificate's algorithms and extensions.
CertExtentions describeFully(const StoredCertificate& certificate);

// Returns the whole certificate as OpenSSL prints it, in UTF-8.
std::string printed(const StoredCertificate& certificate);

} // namespace panelkitd
