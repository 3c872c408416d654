// SPDX-License-Identifier: MIT
//
// The settings that the service itself uses, from the committed configuration. All other parameters are stored only for
// front ends.
#pragma once

#include <service/base/log.h>
#include <service/engine/engine_parameters.h>

#include <chrono>
#include <cstdint>
#include <string>

namespace panelkitd {

// IKE.CRL_PROCESSING: how revocation is checked for a certificate.
enum class CrlProcessing : std::int32_t {
    off = 0,
    strict = 1, // a certificate without a revocation list counts as revoked
    soft = 2,   // one without a list does not
};

// CERTMON: the daily search for certificates and keys that expire.
struct ExpirySettings {
    bool enabled = true;
    std::uint32_t days = 30;                // from so many days before its end a certificate is announced
    std::chrono::seconds timeOfDay{36'000}; // local time, since midnight; less than a day

    bool operator==(const ExpirySettings&) const = default;
};

struct ServiceSettings {
    ExpirySettings expiry;
    CrlProcessing crlProcessing = CrlProcessing::off;
    LogLevel logLevel = LogLevel::events;
    std::string administratorsGroup; // ADMIN.ADMIN_GROUP
    EngineParameters engine;         // those that have an effect there
};

} // namespace panelkitd
