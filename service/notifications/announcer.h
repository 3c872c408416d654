// SPDX-License-Identifier: MIT
//
// The source of module 25: events in the service are announced here and sent to every front end that listens at that
// moment. Announcing is cheap, never waits for a front end and never fails; without a server an announcement is
// dropped.
#pragma once

#include <service/base/refused.h>

#include <platform/system/guarded.h>
#include <vocabulary/notifications.h>

#include <condition_variable>
#include <cstdint>
#include <string>
#include <vector>

namespace bridge::server {
class Server;
}

namespace panelkitd {

// Thread-safe.
class Announcer {
public:
    void announceTokenArrived(const PKCS11::TokenInfo& token);
    void announceTokenRemoved(const PKCS11::TokenInfo& token);
    void announceTokenInitialized(const PKCS11::TokenInfo& token);
    void announceTokenLoggedIn(const PKCS11::TokenInfo& token);
    void announceTokenLoggedOut(const PKCS11::TokenInfo& token);

    // `user` is who did it, `sections` those whose stored values changed.
    void announceConfigurationCommitted(const std::string& user, const std::vector<std::string>& sections);

    // `source` is "system", "user" or "driver"; `user` is empty unless the policy is a user's.
    void announcePolicyActivated(const std::string& source, const std::string& policy, const std::string& user = {});
    // `reason` is the text of `why`.
    void announcePolicyFailed(const std::string& source, const std::string& policy, const std::string& reason,
                              const Remarks& why, const std::string& user = {});

    // `notice` without its moment and its reason, which is the text of `why`.
    void announceTunnelUp(vocabulary::TunnelNotice notice);
    void announceTunnelDown(vocabulary::TunnelNotice notice, const Remarks& why);

    void announceCertificateExpiring(const PKCS11::TokenInfo& token, const CertInfo& certificate, int daysLeft);

    // The last announcement: waits up to a second until front ends have received all announcements.
    void announceServiceStopping();

private:
    friend class AnnouncingThrough;

    // `more` follows the notice in the payload.
    template <vocabulary::Notification id, class Notice, class... More>
    void announce(Notice notice, const More&... more);

    struct Line {
        bridge::server::Server* server = nullptr; // not owned
        std::uint64_t lastNumber = 0;
        bool draining = false; // the server is in use without the lock
    };
    platform::Guarded<Line> line_;
    std::condition_variable drained_;
};

// Sends announcements through a server as long as this object exists.
class AnnouncingThrough {
public:
    AnnouncingThrough(Announcer& announcer, bridge::server::Server& server);
    ~AnnouncingThrough();
    AnnouncingThrough(const AnnouncingThrough&) = delete;
    AnnouncingThrough& operator=(const AnnouncingThrough&) = delete;

private:
    Announcer& announcer_;
};

} // namespace panelkitd
