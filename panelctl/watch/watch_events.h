// SPDX-License-Identifier: MIT
//
// What `panelctl watch` reports: each event with its name for scripts, its words for people, and its details. Events
// come from notifications, and from the differences between two looks at the service where notifications were missed.
#pragma once

#include <panelkit/lsp/lsp_records.h>
#include <panelkit/tokens/token_records.h>
#include <vocabulary/notifications.h>

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace panelctl {

struct WatchEvent {
    std::string name;               // "token-arrived"
    std::uint64_t time = 0;         // seconds since 1970-01-01 UTC
    std::string text;               // one line, escaped
    nlohmann::ordered_json details; // an object
    bool missed = false;            // it happened while nobody could hear of it; `time` is when it was noticed
};

// A notification as it arrived.
struct Heard {
    vocabulary::Notification id{};
    std::variant<vocabulary::StoppingNotice, vocabulary::TokenNotice, vocabulary::ConfigurationNotice,
                 vocabulary::PolicyNotice, vocabulary::CertificateNotice>
        notice;

    const vocabulary::Moment& moment() const;
};

// Throws "CommandStreamError" for a payload that ends early.
Heard readHeard(vocabulary::Notification id, CommandStreamIn& payload);

WatchEvent describe(const Heard& heard);

// The service came or went, as seen here and now.
WatchEvent serviceCame();
WatchEvent serviceWent();

struct WatchedPolicy {
    LSPrequest_t required;
    LSPinfo_t inForce;
};

// What of the service is compared.
struct WatchedState {
    std::vector<PKCS11::ProviderInfo> providers;
    std::vector<PKCS11::TokenInfo> tokens;
    std::map<std::string, std::size_t> sections; // of the configuration: a hash over what each holds, secrets included
    std::optional<WatchedPolicy> policy;         // nothing where it can't be read

    // Takes over what a notification tells.
    void apply(const Heard& heard);
};

// What must have happened between two looks.
std::vector<WatchEvent> differences(const WatchedState& before, const WatchedState& now);

// {"schema": 1, "time": "2026-11-21T07:48:00Z", "event": ...}
nlohmann::ordered_json toJson(const WatchEvent& event);

// "2026.11.21 08:48:00  Token ...", in local time.
std::string toLine(const WatchEvent& event);

} // namespace panelctl
