// SPDX-License-Identifier: MIT
//
// What panelkitd puts into the fields of the policy records that the library only carries, and the meaning of the names
// and numbers of the policy commands. docs/service-api.md describes them in prose. Numbers never change.
//
//   using namespace vocabulary;
//   cli_printf("version %s\n", (info.*policyInfo::version).c_str());
#pragma once

#include <panelkit/lsp/lsp_records.h>

#include <array>
#include <cstdint>
#include <string_view>

namespace vocabulary {

inline constexpr std::size_t largestPolicyFile = std::size_t{1} << 20; // bytes

// LSPinfo_t
namespace policyInfo {
// clang-format off
inline constexpr auto name         = &LSPinfo_t::textB;  // the caller's name for the policy; may be empty
inline constexpr auto activatedBy  = &LSPinfo_t::textC;  // the account that asked for it
inline constexpr auto version      = &LSPinfo_t::textD;  // from the policy file; empty for the driver policy
inline constexpr auto sectionCount = &LSPinfo_t::valueE;
inline constexpr auto certificate  = &LSPinfo_t::textF;  // subject of the certificate that certificateState is about
inline constexpr auto sections     = &LSPinfo_t::textG;  // names of its sections, separated by ", "
// clang-format on
} // namespace policyInfo

// In the place of a text that the caller may not see: of another user's policy only the type, the user and the title
// are shown to ordinary users.
inline constexpr std::string_view notShown = "(not shown)";

// LSPinfo_t::message begins with it when it is a warning and not a failure.
inline constexpr std::string_view policyWarning = "#warn: ";

// LSPinfo_t::certificateState. A state for which front ends have no text comes with a message.
namespace policyCertificate {
// clang-format off
inline constexpr std::uint32_t missing         = 0;  // no certificate with the subject that the policy names
inline constexpr std::uint32_t fine            = 1;  // or none needed
inline constexpr std::uint32_t notYetValid     = 2;
inline constexpr std::uint32_t expired         = 3;
inline constexpr std::uint32_t noPrivateKey    = 5;  // the certificate is there, its private key is not
inline constexpr std::uint32_t lacksIkeUsage   = 9;  // it has extended key usages, but not the one for IKE
inline constexpr std::uint32_t revoked         = 10;
inline constexpr std::uint32_t noToken         = 11; // there is no token at all
// clang-format on
} // namespace policyCertificate

// LSPcmd::LSPsettings_t. Both have a meaning only in the system's settings; users' settings just carry them.
namespace policySettings {
// clang-format off
inline constexpr auto driverMode   = &LSPcmd::LSPsettings_t::value1; // LSPdriverMode of the default driver policy
inline constexpr auto loadingDelay = &LSPcmd::LSPsettings_t::value2; // milliseconds; a delay added to loading a policy
// clang-format on
} // namespace policySettings

inline constexpr std::uint32_t longestLoadingDelay = 60'000;
inline constexpr std::size_t largestPolicyEntries = std::size_t{256} << 10; // bytes of text in all entries of settings

// LSPcmd::LSPentry_t: the security gateways of SOURCE_GATE.
namespace policyGate {
// clang-format off
inline constexpr auto address            = &LSPcmd::LSPentry_t::first;
inline constexpr auto certificateSubject = &LSPcmd::LSPentry_t::second;
inline constexpr auto destination        = &LSPcmd::LSPentry_t::third;
// clang-format on
} // namespace policyGate

// The names that cmdActivateDDP accepts, in the order of LSPdriverMode. An empty name means the mode from the system's
// settings.
inline constexpr std::array driverModeNames{"drop-all", "drop-all-except-dhcp", "pass-all"};

} // namespace vocabulary
