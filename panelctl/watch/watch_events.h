// SPDX-License-Identifier: MIT
//
// The events of `panelctl watch`: each has a name for scripts, a text for people, and details. Events come from
// notifications; where notifications were missed, from the differences between two states of the service.
#pragma once

#include <panelkit/lsp/lsp_records.h>
#include <panelkit/tokens/token_records.h>
#include <platform/bridge/failure.h>
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
    bool missed = false;            // it happened while notifications were missed; `time` is when it was noticed
    std::uint64_t number = 0;       // of the notification; 0 for an event that was noticed without one
};

// A notification as it arrived.
struct Heard {
    vocabulary::Notification id{};
    std::variant<vocabulary::StoppingNotice, vocabulary::TokenNotice, vocabulary::ConfigurationNotice,
                 vocabulary::PolicyNotice, vocabulary::TunnelNotice, vocabulary::CertificateNotice>
        notice;
    std::vector<bridge::Remark> remarks; // why, of a policy that failed or a tunnel that is down

    const vocabulary::Moment& moment() const;
};

// Throws "CommandStreamError" for a payload that ends early.
Heard readHeard(vocabulary::Notification id, CommandStreamIn& payload);

WatchEvent describe(const Heard& heard);

// The connection to the service was made or lost, now.
WatchEvent serviceCame();
WatchEvent serviceWent();

struct WatchedPolicy {
    LSPrequest_t required;
    LSPinfo_t inForce;
};

struct WatchedTunnel {
    std::string gateway;
    bool up = false;
    std::int64_t since = 0; // seconds since 1970
    std::vector<bridge::Remark> why;
};
using WatchedTunnels = std::optional<std::map<std::string, WatchedTunnel>>; // by section; nothing if they can't be read

// The state of the service that is compared.
struct WatchedState {
    std::vector<PKCS11::ProviderInfo> providers;
    std::vector<PKCS11::TokenInfo> tokens;
    std::map<std::string, std::size_t> sections; // of the configuration: a hash of each section, secrets included
    std::optional<WatchedPolicy> policy;         // nothing if it can't be read
    WatchedTunnels tunnels;

    // Updates the state with a notification.
    void apply(const Heard& heard);
};

// The events that explain the differences between two states.
std::vector<WatchEvent> differences(const WatchedState& before, const WatchedState& now);

// {"schema": 1, "time": "2026-11-21T07:48:00Z", "event": ...}
nlohmann::ordered_json toJson(const WatchEvent& event);

// "2026.11.21 08:48:00  Token ...", in local time.
std::string toLine(const WatchEvent& event);

} // namespace panelctl
