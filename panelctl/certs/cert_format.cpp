// SPDX-License-Identifier: MIT
#include <panelctl/certs/cert_format.h>

#include <panelctl/base/exit_codes.h>
#include <panelctl/base/say.h>
#include <panelctl/tokens/log_in.h>
#include <panelctl/tokens/token_names.h>

#include <panelkit/format/nearest.h>
#include <platform/system/clock.h>
#include <vocabulary/certs.h>
#include <vocabulary/tokens.h>

#include <algorithm>
#include <array>
#include <charconv>

namespace panelctl {

using vocabulary::CertState;
namespace certFlag = vocabulary::certFlag;
namespace usage = vocabulary::keyUsage;

namespace {

constexpr std::int64_t daySeconds = 86400;
constexpr std::int64_t warningDays = 30;

struct NamedBit {
    std::uint32_t bit;
    const char* name;
};

// clang-format off
constexpr std::array usageNames = {
    NamedBit{usage::digitalSignature, "digitalSignature"},
    NamedBit{usage::nonRepudiation,   "nonRepudiation"},
    NamedBit{usage::keyEncipherment,  "keyEncipherment"},
    NamedBit{usage::dataEncipherment, "dataEncipherment"},
    NamedBit{usage::keyAgreement,     "keyAgreement"},
    NamedBit{usage::keyCertSign,      "keyCertSign"},
    NamedBit{usage::crlSign,          "cRLSign"},
    NamedBit{usage::encipherOnly,     "encipherOnly"},
    NamedBit{usage::decipherOnly,     "decipherOnly"},
    NamedBit{usage::serverAuth,       "serverAuth"},
    NamedBit{usage::clientAuth,       "clientAuth"},
    NamedBit{usage::codeSigning,      "codeSigning"},
    NamedBit{usage::emailProtection,  "emailProtection"},
    NamedBit{usage::timeStamping,     "timeStamping"},
    NamedBit{usage::ocspSigning,      "OCSPSigning"},
    NamedBit{usage::ipsecIke,         "ipsecIKE"},
};

struct StateRow {
    CertState state;
    const char* name; // for scripts
    Label text;
    Mood mood;
};

constexpr std::array states = {
    StateRow{CertState::valid,       "valid",         N_("valid"),         Mood::good},
    StateRow{CertState::notYetValid, "not-yet-valid", N_("not yet valid"), Mood::warning},
    StateRow{CertState::expired,     "expired",       N_("expired"),       Mood::bad},
    StateRow{CertState::revoked,     "revoked",       N_("revoked"),       Mood::bad},
    StateRow{CertState::unreadable,  "unreadable",    N_("unreadable"),    Mood::bad},
};
// clang-format on

// Null for an unknown state, from a newer service.
const StateRow* stateRow(std::uint32_t state) {
    for (const StateRow& row : states) {
        if (static_cast<std::uint32_t>(row.state) == state) return &row;
    }
    return nullptr;
}

std::uint32_t usageBit(const std::string& name) {
    for (const NamedBit& row : usageNames) {
        if (name == row.name) return row.bit;
    }
    const std::string hint = didYouMean(panelkit::nearest(name, keyUsageNames(~0U)));
    throw CommandError(Exit::usage, say("\"%s\" is not a key usage", name) + hint);
}

// The value of an RFC 4514 attribute without its escapes: "\," and "\C3\A4".
std::string unescaped(std::string_view value) {
    std::string plain;
    for (std::size_t i = 0; i < value.size(); ++i) {
        unsigned byte = 0;
        if (value[i] != '\\' || i + 1 == value.size()) {
            plain += value[i];
        } else if (i + 2 < value.size() &&
                   std::from_chars(&value[i + 1], &value[i + 1] + 2, byte, 16).ptr == &value[i + 1] + 2) {
            plain += static_cast<char>(byte);
            i += 2;
        } else {
            plain += value[++i];
        }
    }
    return plain;
}

// Where the first attribute of an RFC 4514 name ends: at a comma or plus sign that is not escaped.
std::size_t attributeEnd(std::string_view name) {
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (name[i] == '\\') {
            ++i;
        } else if (name[i] == ',' || name[i] == '+') {
            return i;
        }
    }
    return name.size();
}

} // namespace

// ---- times

std::string timeText(std::uint64_t time) { return platform::dateText(time) + " " + platform::clockText(time) + " UTC"; }

std::int64_t daysLeft(std::uint64_t until) {
    const auto seconds =
        static_cast<std::int64_t>(std::min(until, platform::lastTime)) - platform::secondsNow<std::int64_t>();
    return seconds >= 0 ? seconds / daySeconds : -((daySeconds - 1 - seconds) / daySeconds);
}

Cell daysLeftCell(std::uint64_t until) {
    const std::int64_t days = daysLeft(until);
    return {std::to_string(days), days < 0 ? Mood::bad : days < warningDays ? Mood::warning : Mood::plain};
}

std::uint64_t parsePeriod(const std::string& period) {
    constexpr std::array<std::pair<std::string_view, std::uint64_t>, 5> units{
        {{"", daySeconds}, {"h", 3600}, {"d", daySeconds}, {"w", 7 * daySeconds}, {"y", 365 * daySeconds}}};
    std::uint32_t number = 0; // multiplied by the longest unit, it fits into 64 bits
    const char* const end = period.data() + period.size();
    const auto [behind, error] = std::from_chars(period.data(), end, number);
    const std::string_view letter(behind, static_cast<std::size_t>(end - behind));
    for (const auto& [name, seconds] : units) {
        if (error == std::errc() && letter == name) return number * seconds;
    }
    throw CommandError(Exit::usage, say("\"%s\" is not a period; write a number and h, d, w or y, as in 30d", period));
}

// ---- names

std::string commonName(std::string_view name) {
    for (std::string_view rest = name; !rest.empty();) {
        const std::size_t end = attributeEnd(rest);
        std::string_view attribute = rest.substr(0, end);
        attribute.remove_prefix(std::min(attribute.find_first_not_of(' '), attribute.size()));
        if (attribute.substr(0, 3) == "CN=" && attribute.size() > 3) return unescaped(attribute.substr(3));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return std::string(name);
}

bool isReadable(const CertInfo& certificate) {
    return certificate.state != static_cast<std::uint32_t>(CertState::unreadable);
}

std::string nameOf(const CertInfo& certificate) {
    if (!certificate.subject.empty()) return commonName(certificate.subject);
    if (!isReadable(certificate)) return say("fingerprint %s", certificate.fingerprint.substr(0, 16));
    return say("serial number %s", certificate.serialNumber);
}

std::string nameOf(const PKCS11::TokenInfo& token) {
    const std::string& label = token.*vocabulary::token::label;
    return label.empty() ? token.*vocabulary::token::serial : label;
}

// ---- keys and states

std::string keyTypeName(std::uint32_t type) {
    switch (type) {
    case vocabulary::keyType::rsa: return "RSA";
    case vocabulary::keyType::dsa: return "DSA";
    case vocabulary::keyType::ec: return "EC";
    case vocabulary::keyType::edwards: return "EdDSA";
    case vocabulary::keyType::unknown: return "";
    default: return std::to_string(type);
    }
}

std::string keyText(std::uint32_t type, std::uint32_t bits) {
    const std::string name = keyTypeName(type);
    return bits == 0 || name.empty() ? name : name + " " + std::to_string(bits);
}

std::vector<std::string> keyUsageNames(std::uint32_t bits) {
    std::vector<std::string> names;
    for (const NamedBit& row : usageNames) {
        if (bits & row.bit) names.emplace_back(row.name);
    }
    return names;
}

std::uint32_t parseKeyUsage(const std::string& names) {
    std::uint32_t bits = 0;
    for (std::size_t begin = 0; begin <= names.size();) {
        const std::size_t end = std::min(names.find(',', begin), names.size());
        bits |= usageBit(names.substr(begin, end - begin));
        begin = end + 1;
    }
    return bits;
}

Cell stateCell(const CertInfo& certificate) {
    const StateRow* const row = stateRow(certificate.state);
    if (!row) return {std::to_string(certificate.state), Mood::warning};
    return {say(row->text), row->mood};
}

std::string bytesFromHex(const std::string& digits) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes += static_cast<char>(std::strtoul(digits.substr(i, 2).c_str(), nullptr, 16));
    }
    return bytes;
}

// ---- records as JSON

nlohmann::ordered_json certificateJson(const CertInfo& certificate) {
    const StateRow* const state = stateRow(certificate.state);
    const auto has = [&](std::uint32_t flag) { return (certificate.flags & flag) != 0; };
    const auto left = isReadable(certificate) ? nlohmann::ordered_json(daysLeft(certificate.notAfter)) : nullptr;
    return {{"subject", certificate.subject},
            {"issuer", certificate.issuer},
            {"serial", certificate.serialNumber},
            {"fingerprint", certificate.fingerprint},
            {"notBefore", timeJson(certificate.notBefore)},
            {"notAfter", timeJson(certificate.notAfter)},
            {"daysLeft", left},
            {"state", state ? state->name : std::to_string(certificate.state)},
            {"keyType", keyTypeName(certificate.keyType)},
            {"keyBits", certificate.keyBits},
            {"keyUsage", keyUsageNames(certificate.keyUsage)},
            {"hasPrivateKey", certificate.hasPrivateKey},
            {"keyExtractable", has(certFlag::keyExtractable)},
            {"authority", has(certFlag::authority)},
            {"selfIssued", has(certFlag::selfIssued)},
            {"trusted", has(certFlag::trusted)},
            {"private", has(certFlag::privateObject)},
            {"deletable", has(certFlag::canDelete)}};
}

nlohmann::ordered_json toJson(const CertInfo& certificate) {
    nlohmann::ordered_json json{{"schema", 1}};
    json.update(certificateJson(certificate));
    return json;
}

nlohmann::ordered_json toJson(const CertInfo& certificate, const PKCS11::TokenInfo& token) {
    nlohmann::ordered_json json = toJson(certificate);
    if (!certificate.hasPrivateKey && needsLogin(token)) json["hasPrivateKey"] = nullptr; // not known
    json["token"] = tokenJson(token);
    return json;
}

} // namespace panelctl
