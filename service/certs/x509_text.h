// SPDX-License-Identifier: MIT
//
// What X.509 has, as the texts and numbers that travel: names by RFC 4514 in UTF-8, numbers and digests in capital
// hexadecimal digits, times in seconds since 1970.
#pragma once

#include <service/certs/openssl_handles.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace panelkitd {

std::string nameText(const X509_NAME* name);

// The value of the name's last common name, else the name's whole text.
std::string shortName(const X509_NAME* name);

std::string numberText(const ASN1_INTEGER* number);  // "-" in front of a negative one
std::string hexText(const ASN1_OCTET_STRING* bytes); // empty for null

// What is called so: the name in words that OpenSSL has, else the identifier's numbers.
std::string objectText(const ASN1_OBJECT* object);

// Nothing when the time can't be read. A time before 1970 is 0.
std::optional<std::uint64_t> secondsOf(const ASN1_TIME* time);

// Raw bytes.
std::string sha256(std::string_view bytes);
std::string sha1(std::string_view bytes);

} // namespace panelkitd
