// SPDX-License-Identifier: MIT
//
// What the service itself acts on, taken from the committed configuration. Everything else in it is kept for front ends
// and for the parts of a client that this service has not.
#pragma once

#include <service/base/log.h>

#include <chrono>
#include <cstdint>
#include <string>

namespace panelkitd {

// IKE.CRL_PROCESSING: what a certificate's check does about revocation.
enum class CrlProcessing : std::int32_t {
    off = 0,
    strict = 1, // a certificate without a revocation list counts as revoked
    soft = 2,   // one without a list does not
};

// CERTMON: the daily look for certificates and keys that expire.
struct ExpirySettings {
    bool enabled = true;
    std::uint32_t days = 30;                // before its end a certificate is announced for the first time
    std::chrono::seconds timeOfDay{36'000}; // local time, since midnight; less than a day

    bool operator==(const ExpirySettings&) const = default;
};

struct Settings {
    ExpirySettings expiry;
    CrlProcessing crlProcessing = CrlProcessing::off;
    LogLevel logLevel = LogLevel::events;
    std::string administratorsGroup; // ADMIN.ADMIN_GROUP
};

} // namespace panelkitd
