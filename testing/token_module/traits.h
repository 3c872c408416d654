// SPDX-License-Identifier: MIT
//
// How a token of the test token module behaves, and how the module can crash.
#pragma once

#include <cstdint>
#include <optional>

namespace panelkit::testing {

// How a token behaves.
struct TokenTraits {
    unsigned tries = 3; // wrong PINs until a PIN is locked; each of the two PINs has its own count
    bool writeProtected = false;
    bool pretendsKeys = false;             // makes RSA key pairs and signatures that are random bytes of the right size
    std::optional<std::uint32_t> capacity; // objects that it holds
    std::optional<std::uint32_t> largestCertificate; // bytes; larger ones are refused
    bool noSecretKeys = false;                       // they are refused as a template that is not supported
    bool operator==(const TokenTraits&) const = default;
};

enum class Crash : unsigned char { abort, nullWrite };

} // namespace panelkit::testing
