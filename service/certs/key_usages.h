// SPDX-License-Identifier: MIT
//
// The table of key usages: bit, X.509's own numbers, and the names to show.
#pragma once

#include <openssl/x509.h>

#include <cstdint>
#include <string>

namespace panelkitd {

// The bits of vocabulary::keyUsage that a certificate allows; 0 when it has neither extension.
std::uint32_t keyUsageBits(X509* certificate);

// The values of the two extensions for the bits, in the form of OpenSSL's configuration; empty for no bit.
std::string keyUsageValue(std::uint32_t bits);
std::string extendedKeyUsageValue(std::uint32_t bits);

// Whether there is a name for each of the bits.
bool areKeyUsages(std::uint32_t bits);

} // namespace panelkitd
