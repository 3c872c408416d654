// SPDX-License-Identifier: MIT
//
// All details of a certificate, as texts for people.
#pragma once

#include <service/certs/holdings.h>

#include <panelkit/certs/cert_records.h>

#include <string>

namespace panelkitd {

// Returns the label and key identifier of the object, and the algorithms and extensions of the certificate.
CertExtentions describeFully(const StoredCertificate& certificate);

// Returns the whole certificate as OpenSSL prints it, in UTF-8.
std::string printed(const StoredCertificate& certificate);

} // namespace panelkitd
