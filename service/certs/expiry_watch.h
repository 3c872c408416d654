// SPDX-License-Identifier: MIT
//
// The expiry watch: once a day, at a time of the host's clock, announces the certificates that end soon or have ended.
// Where the certificates are and how it is set up is its owner's affair.
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

// The whole days that remain, negative for one that has ended; nothing when it ends after those of the settings, or is
// no certificate that could be read.
std::optional<int> daysLeft(const CertInfo& certificate, std::int64_t now, const ExpirySettings& settings);

// Thread-safe.
class ExpiryWatch {
public:
    // `source` lists all certificates; it is called on the watch's thread. What it throws is logged, and it is tried
    // again. The first look is after `firstPause`: front ends that were there before a restart are back by then.
    using Source = std::function<std::vector<WatchedCertificate>()>;
    ExpiryWatch(Source source, Announcer& announcer, ExpirySettings settings,
                std::chrono::milliseconds firstPause = std::chrono::minutes(1));

    // Other settings: what they let expire is announced at once when the time of the day is over.
    void set(const ExpirySettings& settings);

    // Ends it. False when a module hangs, in a call that can't be interrupted.
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
    platform::Guarded<Plan> plan_;
    Rounds rounds_; // last: its thread uses all of it
};

} // namespace panelkitd
