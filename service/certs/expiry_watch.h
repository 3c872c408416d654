// SPDX-License-Identifier: MIT
//
// The expiry watch: once a day, at a time of the host's clock, announces the certificates that expire soon or have
// expired. The owner supplies the certificates and the settings.
#pragma once

#include <service/base/rounds.h>
#include <service/config/settings.h>
#include <service/notifications/announcer.h>

#include <platform/system/guarded.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace panelkitd {

struct WatchedCertificate {
    PKCS11::TokenInfo token;
    CertInfo certificate;
};

// Returns the whole days that remain, negative if the certificate has expired; nullopt when it expires after the days
// of the settings or could not be read.
std::optional<int> daysLeft(const CertInfo& certificate, std::int64_t now, const ExpirySettings& settings);

// Any thread may call it.
class ExpiryWatch {
public:
    // `source` lists all certificates; it is called on the watch's thread. An exception from it is logged, and the call
    // is repeated later. The first check is after `firstPause`, so that front ends can connect again after a restart.
    // The clock may be changed and laptops may sleep, so `longestPause` is short enough to notice both.
    using Source = std::function<std::vector<WatchedCertificate>()>;
    ExpiryWatch(Source source, Announcer& announcer, ExpirySettings settings,
                std::chrono::milliseconds firstPause = std::chrono::minutes(1),
                std::chrono::milliseconds longestPause = std::chrono::hours(1));

    // Changes the settings. If the time of today's check has passed, the certificates to announce under the new
    // settings are announced at once.
    void set(const ExpirySettings& settings);

    // Ends the watch. Returns false when its thread has not ended within `grace`, because it waits for a module that
    // hangs.
    bool stop(std::chrono::milliseconds grace) { return rounds_.stop(grace); }

private:
    struct Plan {
        ExpirySettings settings;
        int doneOn = -1; // the day of the last look; -1: none
    };

    std::chrono::milliseconds look();
    bool announceAll(const ExpirySettings& settings) const;

    const Source source_;
    Announcer& announcer_;
    const std::chrono::milliseconds longestPause_;
    platform::Guarded<Plan> plan_;
    Rounds rounds_; // last: its thread uses all of it
};

} // namespace panelkitd
