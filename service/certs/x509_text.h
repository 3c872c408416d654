// SPDX-License-Identifier: MIT
//
// Converts X.509 values to the texts and numbers of the wire: names by RFC 4514 in UTF-8, numbers and digests in
// capital hexadecimal digits, times in seconds since 1970.
#pragma once

#include <service/certs/openssl_handles.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace panelkitd {

std::string nameText(const X509_NAME* name);

// Returns the last common name in the name; if it has none, the text of the whole name.
std::string shortName(const X509_NAME* name);

std::string numberText(const ASN1_INTEGER* number);  // "-" in front of a negative one
std::string hexText(const ASN1_OCTET_STRING* bytes); // empty for null

// Returns OpenSSL's name of an object identifier, or its numbers when it has no name.
std::string objectText(const ASN1_OBJECT* object);

// Returns the seconds since 1970; 0 for an earlier time, nullopt when the time can't be read.
std::optional<std::uint64_t> secondsOf(const ASN1_TIME* time);

// Return the digest as raw bytes.
std::string sha256(std::string_view bytes);
std::string sha1(std::string_view bytes);

} // namespace panelkitd
