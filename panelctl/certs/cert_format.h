// SPDX-License-Identifier: MIT
//
// How certificates, CRLs and their fields are shown to people and to scripts: names, times, keys, usages. Times are
// those of the records, seconds since 1970-01-01 UTC, and are shown in UTC, so that they can be compared.
#pragma once

#include <panelctl/base/output.h>
#include <panelctl/base/say.h>

#include <panelkit/certs/cert_records.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace panelctl {

// ---- times

// "2027-03-01 12:00:00 UTC"
std::string timeText(std::uint64_t time);

// Whole days from now until a time; negative when it has passed.
std::int64_t daysLeft(std::uint64_t until);
Cell daysLeftCell(std::uint64_t until);

// A period such as "30d" in seconds: a number and h, d, w or y; days without a letter. Throws CommandError.
std::uint64_t parsePeriod(const std::string& period);

// ---- names

// The common name in an RFC 4514 name, else the whole name.
std::string commonName(std::string_view name);

// Whether the object is a certificate: other bytes can be stored as one, and then only the fingerprint is known.
bool isReadable(const CertInfo& certificate);

// The name of a certificate for people: its subject's, or its serial number where it has none.
std::string nameOf(const CertInfo& certificate);

// "label" or, for a token that is not initialised, its serial number.
std::string nameOf(const PKCS11::TokenInfo& token);

// ---- keys and states

// "RSA", "EC"; for a type without a name its number.
std::string keyTypeName(std::uint32_t type);
std::string keyText(std::uint32_t type, std::uint32_t bits); // "RSA 2048"

// The names of the bits, as RFC 5280 spells them.
std::vector<std::string> keyUsageNames(std::uint32_t bits);

// The bits of names separated by commas. Throws CommandError with the nearest name.
std::uint32_t parseKeyUsage(const std::string& names);

Cell stateCell(const CertInfo& certificate);

// The bytes that the digits of an identifier or a fingerprint stand for.
std::string bytesFromHex(const std::string& digits);

// ---- records as JSON

// A certificate as JSON in every verb. The times and the days left of one that is not readable are null.
nlohmann::ordered_json certificateJson(const CertInfo& certificate);

// The same as an element of a listing: with "schema", and with its token.
nlohmann::ordered_json toJson(const CertInfo& certificate);
nlohmann::ordered_json toJson(const CertInfo& certificate, const PKCS11::TokenInfo& token);

} // namespace panelctl
