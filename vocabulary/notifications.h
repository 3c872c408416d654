// SPDX-License-Identifier: MIT
//
// What panelkitd pushes to front ends, as module 25: the ids of its notifications and the payload of each. Ids never
// change; a payload may grow at its end, so a reader leaves alone what follows the fields that it knows. The service
// waits for no reply in particular: any answer, an empty one too, says that the notification was taken.
//
//   class Arrivals : public VpnNotificationHandler {
//   public:
//       Arrivals() : VpnNotificationHandler(vocabulary::idOf(vocabulary::Notification::tokenArrived)) {}
//       bool handle(CommandStreamIn& payload, CommandStreamOut&) override {
//           vocabulary::TokenNotice notice;
//           payload >> notice;
//           ...
//           return true;
//       }
//   };
#pragma once

#include <panelkit/certs/cert_records.h>
#include <panelkit/notifications/notification_handler.h>
#include <panelkit/tokens/token_records.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace vocabulary {

enum class Notification : std::int32_t {
    // clang-format off
    tokenArrived           = 1,  // TokenNotice
    tokenRemoved           = 2,  // TokenNotice: as the token was last seen
    tokenInitialized       = 3,  // TokenNotice: as it is now
    tokenLoggedIn          = 4,  // TokenNotice: the service is logged in to it now
    tokenLoggedOut         = 5,  // TokenNotice: no more, for whatever reason
    configurationCommitted = 10, // ConfigurationNotice
    policyActivated        = 20, // PolicyNotice
    policyFailed           = 21, // PolicyNotice with its reason, then a list of NoticeRemark
    certificateExpiring    = 30, // CertificateNotice, once a day for each
    serviceStopping        = 40, // StoppingNotice
    // clang-format on
};

inline constexpr std::array allNotifications{
    Notification::tokenArrived,    Notification::tokenRemoved,   Notification::tokenInitialized,
    Notification::tokenLoggedIn,   Notification::tokenLoggedOut, Notification::configurationCommitted,
    Notification::policyActivated, Notification::policyFailed,   Notification::certificateExpiring,
    Notification::serviceStopping,
};

constexpr NotificationIdType idOf(Notification notification) { return static_cast<NotificationIdType>(notification); }

// When it happened; every payload begins with it. Notifications of one id arrive in order, those of different ids may
// overtake each other on their way: the numbers tell the order.
struct Moment {
    std::uint64_t time{};   // seconds since 1970-01-01 UTC
    std::uint64_t number{}; // counted on by one with each notification since the service's start

    static auto fields(auto& self, auto&& io) { return io(self.time, self.number); }
    bool operator==(const Moment&) const = default;
};
static_assert(RecordListsEveryMember<Moment>);

struct TokenNotice {
    Moment moment;
    PKCS11::TokenInfo token;

    static auto fields(auto& self, auto&& io) { return io(self.moment, self.token); }
    bool operator==(const TokenNotice&) const = default;
};
static_assert(RecordListsEveryMember<TokenNotice>);

struct ConfigurationNotice {
    Moment moment;
    std::string user;                  // who committed it, for people
    std::vector<std::string> sections; // those that changed

    static auto fields(auto& self, auto&& io) { return io(self.moment, self.user, self.sections); }
    bool operator==(const ConfigurationNotice&) const = default;
};
static_assert(RecordListsEveryMember<ConfigurationNotice>);

struct PolicyNotice {
    Moment moment;
    std::string source; // "system", "user" or "driver"
    std::string policy; // its title, or what else it is known by
    std::string user;   // whose it is, for a user's
    std::string reason; // why it is not in force; empty when it is

    static auto fields(auto& self, auto&& io) {
        return io(self.moment, self.source, self.policy, self.user, self.reason);
    }
    bool operator==(const PolicyNotice&) const = default;
};
static_assert(RecordListsEveryMember<PolicyNotice>);

// After a PolicyNotice with a reason, a list of these says the reason to programs, as bridge::Remark does for commands.
// Services of version 0.1.0 end the payload before it.
struct NoticeRemark {
    std::uint32_t code{};  // refusals.h; 0 when it has none
    std::string wording{}; // in English, with places for the arguments (platform/loccore/phrase.h)
    std::vector<std::string> arguments;

    static auto fields(auto& self, auto&& io) { return io(self.code, self.wording, self.arguments); }
    bool operator==(const NoticeRemark&) const = default;
};
static_assert(RecordListsEveryMember<NoticeRemark>);

struct CertificateNotice {
    Moment moment;
    PKCS11::TokenInfo token;
    CertInfo certificate;
    std::int32_t daysLeft{}; // whole days; negative when it has expired

    static auto fields(auto& self, auto&& io) { return io(self.moment, self.token, self.certificate, self.daysLeft); }
    bool operator==(const CertificateNotice&) const = default;
};
static_assert(RecordListsEveryMember<CertificateNotice>);

struct StoppingNotice {
    Moment moment;

    static auto fields(auto& self, auto&& io) { return io(self.moment); }
    bool operator==(const StoppingNotice&) const = default;
};
static_assert(RecordListsEveryMember<StoppingNotice>);

} // namespace vocabulary
