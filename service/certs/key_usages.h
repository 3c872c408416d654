// SPDX-License-Identifier: MIT
//
// The table of key usages: bit, X.509's own numbers, and the names to show.
#pragma once

#include <openssl/x509.h>

#include <cstdint>
#include <string>

namespace panelkitd {

// Returns the bits of vocabulary::keyUsage that a certificate allows; 0 when it has neither of the two extensions.
std::uint32_t keyUsageBits(X509* certificate);

// Return the values of the two extensions for the bits, in the syntax of OpenSSL's configuration; empty when no bit is
// set.
std::string keyUsageValue(std::uint32_t bits);
std::string extendedKeyUsageValue(std::uint32_t bits);

// Returns whether each of the bits has a name.
bool areKeyUsages(std::uint32_t bits);

} // namespace panelkitd
