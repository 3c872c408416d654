// SPDX-License-Identifier: MIT
#include <panelctl/certs/key_choice.h>

#include <panelctl/base/exit_codes.h>
#include <panelctl/base/say.h>

#include <platform/text/join.h>
#include <vocabulary/certs.h>

#include <algorithm>
#include <array>
#include <charconv>

namespace panelctl {

namespace keyType = vocabulary::keyType;
namespace digestNumber = vocabulary::digest;

namespace {

struct KeyTypeRow {
    const char* name;
    std::uint32_t type;
    std::uint32_t usualBits; // when none are given
};

struct DigestRow {
    const char* name;
    std::uint32_t digest;
};

// clang-format off
constexpr std::array keyTypes = {
    KeyTypeRow{"rsa",   keyType::rsa,     2048},
    KeyTypeRow{"ec",    keyType::ec,      256},
    KeyTypeRow{"eddsa", keyType::edwards, 255},
};

constexpr std::array digests = { // the first is the default
    DigestRow{"sha256", digestNumber::sha256},
    DigestRow{"sha384", digestNumber::sha384},
    DigestRow{"sha512", digestNumber::sha512},
};
// clang-format on

} // namespace

std::string keyName(std::uint32_t type, std::uint32_t bits) {
    std::string name = std::to_string(type);
    for (const KeyTypeRow& row : keyTypes) {
        if (row.type == type) name = row.name;
    }
    return bits == 0 ? name : name + ":" + std::to_string(bits);
}

std::string digestName(std::uint32_t digest) {
    for (const DigestRow& row : digests) {
        if (row.digest == digest) return row.name;
    }
    return std::to_string(digest);
}

namespace {

bool has(const std::vector<std::uint32_t>& numbers, std::uint32_t number) {
    return std::find(numbers.begin(), numbers.end(), number) != numbers.end();
}

// "rsa:2048, ec:256, ..."
std::string onOffer(const std::vector<CertRequestKeyInfo>& choices) {
    std::vector<std::string> names;
    for (const CertRequestKeyInfo& choice : choices) {
        for (const std::uint32_t bits : choice.keyBits) names.push_back(keyName(choice.keyType, bits));
    }
    return platform::joined(names);
}

} // namespace

void KeyChoice::applyTo(CertRequestInfo& info, const std::vector<CertRequestKeyInfo>& choices) const {
    const std::size_t colon = key_.find(':');
    const std::string name = key_.substr(0, colon);
    for (const CertRequestKeyInfo& choice : choices) {
        if (!name.empty() && keyName(choice.keyType, 0) != name) continue;
        const std::optional<std::uint32_t> bits = bitsFor(choice, colon);
        const std::optional<std::uint32_t> digest = digestFor(choice);
        if (!bits) break;
        if (!digest) failDigest(choice);
        info.keyType = choice.keyType;
        info.keyBits = *bits;
        info.digest = *digest;
        return;
    }
    throw CommandError(Exit::badInput, say("the token can't make a key \"%s\"; it offers %s", key_.empty() ? "-" : key_,
                                           onOffer(choices)));
}

std::optional<std::uint32_t> KeyChoice::bitsFor(const CertRequestKeyInfo& choice, std::size_t colon) const {
    const std::vector<std::uint32_t>& offered = choice.keyBits;
    std::uint32_t bits = 0;
    if (colon != std::string::npos) {
        const char* const end = key_.data() + key_.size();
        const auto [behind, error] = std::from_chars(key_.data() + colon + 1, end, bits);
        if (error != std::errc() || behind != end || !has(offered, bits)) return std::nullopt;
        return bits;
    }
    for (const KeyTypeRow& row : keyTypes) {
        if (row.type == choice.keyType && has(offered, row.usualBits)) return row.usualBits;
    }
    if (offered.empty()) return std::nullopt;
    return offered.front();
}

std::optional<std::uint32_t> KeyChoice::digestFor(const CertRequestKeyInfo& choice) const {
    for (const DigestRow& row : digests) {
        if ((digest_.empty() || digest_ == row.name) && has(choice.digests, row.digest)) return row.digest;
    }
    if (!digest_.empty()) return std::nullopt;
    return choice.digests.empty() ? 0 : choice.digests.front(); // an EdDSA key has its digest built in
}

void KeyChoice::failDigest(const CertRequestKeyInfo& choice) const {
    const std::string list = platform::joined(choice.digests, ", ", digestName);
    throw CommandError(Exit::badInput, say("the token can't sign a request with %s; it offers %s", digest_, list));
}

} // namespace panelctl
