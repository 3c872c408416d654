// SPDX-License-Identifier: MIT
//
// The notifications that panelkitd sends to front ends (module 25): their ids and the payload of each. Ids never
// change. A payload may grow at its end, so a reader must ignore what follows the fields that it knows. The content of
// the reply does not matter: any answer, even an empty one, says that the notification was received.
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

#include <panelkit/bridge/commands.h>
#include <panelkit/certs/cert_records.h>
#include <panelkit/notifications/notification_handler.h>
#include <panelkit/tokens/token_records.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace vocabulary {

// The ids of the notifications of panelkitd; their payloads are in the table below.
enum class Notification : std::int32_t {
    // clang-format off
    tokenArrived           = 1,
    tokenRemoved           = 2,
    tokenInitialized       = 3,
    tokenLoggedIn          = 4,
    tokenLoggedOut         = 5,
    configurationCommitted = 10,
    policyActivated        = 20,
    policyFailed           = 21,
    tunnelUp               = 22,
    tunnelDown             = 23,
    certificateExpiring    = 30,
    serviceStopping        = 40,
    // clang-format on
};

// Returns the id as handlers are made with it.
constexpr NotificationIdType idOf(Notification notification) { return static_cast<NotificationIdType>(notification); }

// When it happened; every payload begins with it. Notifications of one id arrive in order; those of different ids may
// overtake each other: the number gives their order.
struct Moment {
    std::uint64_t time{};   // seconds since 1970-01-01 UTC
    std::uint64_t number{}; // increased by one with each notification; starts again with the service

    static auto fields(auto& self, auto&& io) { return io(self.time, self.number); }
    bool operator==(const Moment&) const = default;
};
static_assert(RecordListsEveryMember<Moment>);

// That a token came, went or changed.
struct TokenNotice {
    Moment moment;
    PKCS11::TokenInfo token;

    static auto fields(auto& self, auto&& io) { return io(self.moment, self.token); }
    bool operator==(const TokenNotice&) const = default;
};
static_assert(RecordListsEveryMember<TokenNotice>);

// That the configuration was committed.
struct ConfigurationNotice {
    Moment moment;
    std::string user;                  // who committed it, as text for people
    std::vector<std::string> sections; // those that changed

    static auto fields(auto& self, auto&& io) { return io(self.moment, self.user, self.sections); }
    bool operator==(const ConfigurationNotice&) const = default;
};
static_assert(RecordListsEveryMember<ConfigurationNotice>);

// That a policy is in force, or failed.
struct PolicyNotice {
    Moment moment;
    std::string source; // "system", "user" or "driver"
    std::string policy; // its title, or another name of it
    std::string user;   // whose policy it is, for a user's
    std::string reason; // why it is not in force; empty when it is in force

    static auto fields(auto& self, auto&& io) {
        return io(self.moment, self.source, self.policy, self.user, self.reason);
    }
    bool operator==(const PolicyNotice&) const = default;
};
static_assert(RecordListsEveryMember<PolicyNotice>);

// That a tunnel of the policy in force has come up or gone down. Each tunnel is told of at most every 10 seconds, and
// 20 in that time; what happens in between is told afterwards as one change.
struct TunnelNotice {
    Moment moment;
    std::string section;     // notShown of a user's policy
    std::string gateway;     // as in the policy file; empty of a user's policy
    std::string user;        // whose policy it is, for a user's
    std::uint32_t changes{}; // so often it has changed since it was told of last: 1, or more if it comes and goes
    std::string reason;      // why it is down; may be empty

    static auto fields(auto& self, auto&& io) {
        return io(self.moment, self.section, self.gateway, self.user, self.changes, self.reason);
    }
    bool operator==(const TunnelNotice&) const = default;
};
static_assert(RecordListsEveryMember<TunnelNotice>);

// A PolicyNotice or a TunnelNotice with a reason is followed by a list of these, which states the reason for programs,
// as bridge::Remark does for commands. A payload may also end before the list.
struct NoticeRemark {
    std::uint32_t code{};  // refusals.h; 0 when it has none
    std::string wording{}; // in English, with places for the arguments (platform/loccore/phrase.h)
    std::vector<std::string> arguments;

    static auto fields(auto& self, auto&& io) { return io(self.code, self.wording, self.arguments); }
    bool operator==(const NoticeRemark&) const = default;
};
static_assert(RecordListsEveryMember<NoticeRemark>);

// That a certificate expires soon, or has expired.
struct CertificateNotice {
    Moment moment;
    PKCS11::TokenInfo token;
    CertInfo certificate;
    std::int32_t daysLeft{}; // whole days; negative after it expired

    static auto fields(auto& self, auto&& io) { return io(self.moment, self.token, self.certificate, self.daysLeft); }
    bool operator==(const CertificateNotice&) const = default;
};
static_assert(RecordListsEveryMember<CertificateNotice>);

// That the service is about to end.
struct StoppingNotice {
    Moment moment;

    static auto fields(auto& self, auto&& io) { return io(self.moment); }
    bool operator==(const StoppingNotice&) const = default;
};
static_assert(RecordListsEveryMember<StoppingNotice>);

// ---- the table: each notification with its payload, a notice and what follows it

template <Notification which, class NoticeOfIt, class... Following>
struct NotificationRow {
    static constexpr Notification id = which;
};
template <class... Rows>
struct NotificationTable : Rows... {};

// clang-format off
using Notifications = NotificationTable<
    NotificationRow<Notification::tokenArrived,           TokenNotice>,
    NotificationRow<Notification::tokenRemoved,           TokenNotice>, // as the token was last seen
    NotificationRow<Notification::tokenInitialized,       TokenNotice>, // as it is now
    NotificationRow<Notification::tokenLoggedIn,          TokenNotice>, // the service is logged in to it now
    NotificationRow<Notification::tokenLoggedOut,         TokenNotice>, // no more, for whatever reason
    NotificationRow<Notification::configurationCommitted, ConfigurationNotice>,
    NotificationRow<Notification::policyActivated,        PolicyNotice>,
    NotificationRow<Notification::policyFailed,           PolicyNotice, std::vector<NoticeRemark>>, // why
    NotificationRow<Notification::tunnelUp,               TunnelNotice>,
    NotificationRow<Notification::tunnelDown,             TunnelNotice, std::vector<NoticeRemark>>, // why
    NotificationRow<Notification::certificateExpiring,    CertificateNotice>, // once a day for each
    NotificationRow<Notification::serviceStopping,        StoppingNotice>>;
// clang-format on

// Returns the ids of the rows of a table, in their order.
template <class... Rows>
constexpr auto idsOf(NotificationTable<Rows...>) {
    return std::array{Rows::id...};
}
inline constexpr auto allNotifications = idsOf(Notifications());

// The fields of a notification's payload: PayloadOf<Notification::tokenArrived> is Fields<TokenNotice>.
template <Notification id, class... Types>
panelkit::Fields<Types...> fieldsOf(const NotificationRow<id, Types...>&);
template <Notification id>
using PayloadOf = decltype(fieldsOf<id>(Notifications()));

} // namespace vocabulary
