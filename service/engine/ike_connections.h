// SPDX-License-Identifier: MIT
//
// From the sections of a policy that protect to the connections of the IKE daemon. Sections with the same gateway and
// the same credential share a connection: one security association with the gateway, and a child for each section.
//
// The gateway has to prove that it is the host name or address of the section: its certificate has that name or address
// as subject alternative name, or it is its identity with a preshared key. Its chain must end at one of our anchors.
#pragma once

#include <service/engine/engine.h>
#include <service/engine/engine_credentials.h>
#include <service/engine/engine_parameters.h>
#include <service/engine/vici_message.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace panelkitd {

struct IkeOptions {
    bool espInUserSpace = true;
    std::vector<std::string> espProposals; // empty: the daemon's own
    std::uint32_t mark = 0;                // of the encrypted packets, with ESP in the kernel
    EngineParameters parameters;
    std::uint64_t now = 0; // seconds since 1970
};

struct IkeChild {
    const PolicySection* section; // of the policy that the connections were made from
    ViciSection config;
};

// The names of all that the daemon is given begin with it.
inline constexpr const char* ourPrefix = "panelkit-";

struct IkeConnection {
    std::string name;
    ViciSection config; // without its children
    std::vector<IkeChild> children;

    std::string gateway;
    std::string credential;              // subject of the certificate, or name of the preshared key
    std::optional<EngineToken> token;    // of the certificate
    std::string keyId;                   // CKA_ID of its private key
    bool byPresharedKey = false;         //
    std::optional<bridge::Remark> lacks; // why it can't be used now; `config` is then not complete
    bool mayCome = false;                // what it lacks comes with a log-in, or may be where nothing can be read now
};

// Returns the connections, in the order of their first sections. `policy` must outlive them. Throws EngineError, which
// names section and line, for two sections that need different preshared keys for the same gateway.
std::vector<IkeConnection> ikeConnections(const PolicyText& policy, const EngineCredentials& credentials,
                                          const IkeOptions& options);

// That the section of the connection, the first of several, can't be put into force.
EngineError notInForce(const IkeConnection& connection, const Remarks& why);

// The message that loads a connection, with all its children.
ViciSection loadMessage(const IkeConnection& connection);

// The traffic of a section, as the daemon writes selectors: "10.0.0.0/8[tcp/443]". A range is split into networks,
// since the kernel knows only these.
std::vector<std::string> trafficSelectors(const PolicySection& section);

} // namespace panelkitd
