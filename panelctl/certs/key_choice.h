// SPDX-License-Identifier: MIT
//
// The kind of a new key on the command line: "rsa", "rsa:3072", and the digest for a signature with it.
#pragma once

#include <panelkit/certs/cert_records.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace panelctl {

// "rsa:3072"; without the size when `bits` is 0. For a type or digest without a name, its number.
std::string keyName(std::uint32_t type, std::uint32_t bits);
std::string digestName(std::uint32_t digest);

// Finds "rsa", "rsa:3072" and "sha256" among the keys and digests that the token offers; the default where nothing is
// given.
class KeyChoice {
public:
    KeyChoice(std::string key, std::string digest) : key_(std::move(key)), digest_(std::move(digest)) {}

    // Throws CommandError, which lists what the token offers.
    void applyTo(CertRequestInfo& info, const std::vector<CertRequestKeyInfo>& choices) const;

private:
    std::optional<std::uint32_t> bitsFor(const CertRequestKeyInfo& choice, std::size_t colon) const;
    std::optional<std::uint32_t> digestFor(const CertRequestKeyInfo& choice) const;
    [[noreturn]] void failDigest(const CertRequestKeyInfo& choice) const;

    const std::string key_, digest_;
};

} // namespace panelctl
