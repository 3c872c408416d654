// SPDX-License-Identifier: MIT
//
// The local security policy in its wire form: which policy is asked for or in force (LSPrequest_t), the state of the
// one in force (LSPinfo_t), and where the policy is taken from (LSPcmd::LSPsettings_t). Plain values. A default
// LSPrequest_t or LSPinfo_t holds zeros, false and empty texts; the defaults of LSPsettings_t differ, see there. Texts
// are UTF-8.
//
// Only settings are sent; the other two are only received. Some fields are only carried by the library: the comments
// say what panelkitd puts into them, and the names that vocabulary/policy.h has for it.
#pragma once

#include <panelkit/bridge/record.h>

#include <cstdint>
#include <list>
#include <string>

// How a policy server is authenticated. Every other value counts as a certificate.
inline constexpr std::uint32_t LSPauthPresharedKey = 1;

// A policy server, and the credentials for it.
struct LSPserver_t {
    std::string Server;       // address, as the user typed it
    std::int32_t LogLevel{};  // of the policy exchange; LPARAMS::LOG_LEVEL_VARIANTS
    std::uint32_t authKind{}; // LSPauthPresharedKey, or a certificate
    std::uint32_t reserved{}; // carried unchanged: kept and returned as it was set
    std::int32_t PmpIdType{}; // LPARAMS::PMP_ID_TYPE_VARIANTS
    std::string PmpIdValue;
    std::string Subject;          // of the certificate for the server; may be empty
    std::string presharedKeyName; // of the key used when authKind says so
    std::int32_t PmpTimeout{};    // of the policy exchange, in seconds

    static auto fields(auto& self, auto&& io) {
        return io(self.Server, self.LogLevel, self.authKind, self.reserved, self.PmpIdType, //
                  self.PmpIdValue, self.Subject, self.presharedKeyName, self.PmpTimeout);
    }
    bool operator==(const LSPserver_t&) const = default;
};
static_assert(RecordListsEveryMember<LSPserver_t>);

// Types of policies. The numbers are part of the wire format and never change. Any other value is shown as a system
// policy of this host.
enum LSPtype : std::uint32_t {
    LSPdriver = 0, // the default driver policy
    LSPsystemLocal = 1,
    LSPsystemFile = 2,
    LSPsystemServer = 3,
    LSPsystemOther = 4,
    LSPuserFile = 5,
    LSPuserServer = 6,
    LSPuserLocal = 7,
};

// What kind of policy a type stands for.
constexpr bool isUserPolicy(std::uint32_t type) { return type >= LSPuserFile && type <= LSPuserLocal; }
constexpr bool isFilePolicy(std::uint32_t type) { return type == LSPsystemFile || type == LSPuserFile; }
constexpr bool isServerPolicy(std::uint32_t type) { return type == LSPsystemServer || type == LSPuserServer; }

// What the default driver policy does with packets. Any other value is shown as unknown.
enum LSPdriverMode : std::uint32_t {
    LSPdropAll = 0,
    LSPdropAllExceptDhcp = 1,
    LSPpassAll = 2,
};

// A policy that is required, or in force.
struct LSPrequest_t {
    // The one-word state from LSPController::cmdGetPolicyInfo.
    enum InfoType : std::uint32_t {
        noAnswer = 0,  // the service isn't running
        loading = 1,   // a new policy is being loaded
        inForce = 2,   // a policy is in force and there is nothing to report
        diagnosed = 3, // a policy is in force and there is a diagnosis or an error to report
    };

    std::uint32_t type{};       // LSPtype
    std::string user;           // whose policy this is (user types)
    std::string file;           // path of the policy file (file types)
    LSPserver_t server;         // server types
    std::uint32_t driverMode{}; // LSPdriverMode (LSPdriver)

    static auto fields(auto& self, auto&& io) {
        return io(self.type, self.user, self.file, self.server, self.driverMode);
    }

    // Whether both ask for the same policy. Only the fields that matter to their type are compared, so two policies of
    // one server type are the same even if the servers' addresses differ.
    //
    // Not symmetric: a certificate's subject is compared only when the second request names one. Write the policy in
    // force on the left and the required one, which need not name a certificate, on the right.
    friend bool operator==(const LSPrequest_t& first, const LSPrequest_t& second) {
        if (first.type != second.type) return false;
        if (isUserPolicy(first.type) && first.user != second.user) return false;
        if (isFilePolicy(first.type)) return first.file == second.file;
        return !isServerPolicy(first.type) || sameCredentials(first.server, second.server);
    }

private:
    static bool sameCredentials(const LSPserver_t& first, const LSPserver_t& second) {
        if (first.authKind != second.authKind) return false;
        if (first.authKind == LSPauthPresharedKey) return first.presharedKeyName == second.presharedKeyName;
        return second.Subject.empty() || first.Subject == second.Subject;
    }
};
static_assert(RecordListsEveryMember<LSPrequest_t>);

// The state of the personal certificate, for LSPinfo_t::certificateState. For 1, 10 and values above 11 there is
// nothing to report.
enum LSPcertificateState : std::uint32_t {
    LSPcertificateMissing = 0, // so are 5, 6, 8 and 11
    LSPcertificateNotYetValid = 2,
    LSPcertificateExpired = 3,
    LSPcertificateKeyExpired = 4,
    LSPcertificateNotSelected = 7,
    LSPcertificateLacksKeyUsage = 9,
};

// The policy in force and its state. A flag is true only when its byte is 1.
struct LSPinfo_t {
    LSPrequest_t request;             // the policy in force
    std::int64_t activated{};         // time: seconds since 1970-01-01 00:00 UTC
    bool fromConfigDb{};              // it was taken from the service's configuration database
    bool flag1{};                     // carried; not used, false
    bool bareMessage{};               // the message is shown without brackets
    bool isLoading{};                 // a new policy is being loaded
    std::string Title;                // of the policy in force
    std::string textB;                // carried; name: the caller's name for the policy
    std::string message;              // of the policy module; one that begins with "#warn: " is a warning
    std::string textC;                // carried; activatedBy: the account that asked for it. Sent after textG
    std::string textD;                // carried; version, from the policy file
    std::uint32_t valueE{};           // carried; sectionCount
    std::string textF;                // carried; certificate: subject of the one that the diagnosis is about
    std::string textG;                // carried; sections: the names of its sections, separated by ", "
    std::uint32_t certificateState{}; // LSPcertificateState
    std::string certificateDate;      // the date that belongs to certificateState

    static auto fields(auto& self, auto&& io) {
        return io(self.request, self.activated, self.fromConfigDb, self.flag1, self.bareMessage, self.isLoading,
                  self.Title, self.textB, self.message, self.textD, self.valueE, self.textF, self.textG, self.textC, //
                  self.certificateState, self.certificateDate);
    }
};
static_assert(RecordListsEveryMember<LSPinfo_t>);

namespace LSPcmd {

// Carried with the settings, in their order; the library does not interpret them. For panelkitd an entry is a gateway
// (policyGate) of SOURCE_GATE.
struct LSPentry_t {
    std::string first;  // address
    std::string second; // subject of its certificate
    std::string third;  // destination

    static auto fields(auto& self, auto&& io) { return io(self.first, self.second, self.third); }
    bool operator==(const LSPentry_t&) const = default;
};
static_assert(RecordListsEveryMember<LSPentry_t>);

// Where the policy is taken from. The defaults are those of a front end before anything was set.
struct LSPsettings_t {
    std::int32_t Source{};   // LPARAMS::LSP_SOURCE_VARIANTS
    std::uint32_t value1{2}; // carried; driverMode (LSPdriverMode), only in the system's settings
    std::string File;        // path of the policy file (SOURCE_FILE)
    // The policy server (SOURCE_PMP).
    LSPserver_t server{.Server = {},
                       .LogLevel = 3,
                       .authKind = 0,
                       .reserved = 0,
                       .PmpIdType = 4,
                       .PmpIdValue = {},
                       .Subject = {},
                       .presharedKeyName = {},
                       .PmpTimeout = 10};
    std::uint32_t value2{};        // carried; loadingDelay: milliseconds up to 60000, only in the system's settings
    std::list<LSPentry_t> entries; // reading reuses existing entries and removes surplus ones

    static auto fields(auto& self, auto&& io) {
        return io(self.Source, self.value1, self.File, self.server, self.value2, self.entries);
    }
    bool operator==(const LSPsettings_t&) const = default;
};
static_assert(RecordListsEveryMember<LSPsettings_t>);

} // namespace LSPcmd
