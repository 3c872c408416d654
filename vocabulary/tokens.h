// SPDX-License-Identifier: MIT
//
// What panelkitd puts into the fields that the library only carries: providers, tokens, log-in.
//
//   using namespace vocabulary;
//   provider.*provider::path = "/usr/lib/pkcs11/opensc-pkcs11.so";
//   if (token.flags & tokenFlag::loggedIn) ...
#pragma once

#include <panelkit/tokens/token_records.h>

#include <cstdint>

namespace vocabulary {

// PKCS11::ProviderInfo
namespace provider {
// clang-format off
inline constexpr auto name            = &PKCS11::ProviderInfo::str1;  // unique; made from the file name unless given
inline constexpr auto path            = &PKCS11::ProviderInfo::str2;  // of the module; absolute, links resolved
inline constexpr auto manufacturer    = &PKCS11::ProviderInfo::str3;  // as reported by the module
inline constexpr auto description     = &PKCS11::ProviderInfo::str4;
inline constexpr auto moduleVersion   = &PKCS11::ProviderInfo::str5;  // "2.6"
inline constexpr auto cryptokiVersion = &PKCS11::ProviderInfo::str6;  // "2.40"
inline constexpr auto tokenCount      = &PKCS11::ProviderInfo::value; // tokens present
inline constexpr auto isLoaded        = &PKCS11::ProviderInfo::flagA;
inline constexpr auto isRemembered    = &PKCS11::ProviderInfo::flagB; // in a request: load it again at every start
inline constexpr auto isEmbedded      = &PKCS11::ProviderInfo::flagC; // the service's own, which can't be unloaded
inline constexpr auto problem         = &PKCS11::ProviderInfo::str7;  // why it is not loaded; empty otherwise
// clang-format on
} // namespace provider

// PKCS11::TokenInfo. The service finds a token by label, serial number and provider, never by its slot.
namespace token {
// clang-format off
inline constexpr auto label    = &PKCS11::TokenInfo::text1; // empty until the token is initialised
inline constexpr auto serial   = &PKCS11::TokenInfo::text2;
inline constexpr auto model    = &PKCS11::TokenInfo::text3; // "manufacturer, model"
inline constexpr auto provider = &PKCS11::TokenInfo::text4; // the provider's name
// clang-format on
} // namespace token

// TokenInfo::flags: the token's own flags with PKCS#11's numbers, and one of the service's.
namespace tokenFlag {
// clang-format off
inline constexpr std::uint32_t hasRandomGenerator = 0x00000001;
inline constexpr std::uint32_t writeProtected     = 0x00000002;
inline constexpr std::uint32_t loginRequired      = 0x00000004;
inline constexpr std::uint32_t userPinInitialized = 0x00000008;
inline constexpr std::uint32_t protectedPinPath   = 0x00000100; // the PIN is entered at the device
inline constexpr std::uint32_t initialized        = 0x00000400;
inline constexpr std::uint32_t userPinCountLow    = 0x00010000; // a wrong PIN was entered since the last correct one
inline constexpr std::uint32_t userPinFinalTry    = 0x00020000; // one more wrong PIN locks it
inline constexpr std::uint32_t userPinLocked      = 0x00040000;
inline constexpr std::uint32_t userPinToBeChanged = 0x00080000;
inline constexpr std::uint32_t soPinCountLow      = 0x00100000;
inline constexpr std::uint32_t soPinFinalTry      = 0x00200000;
inline constexpr std::uint32_t soPinLocked        = 0x00400000;
inline constexpr std::uint32_t soPinToBeChanged   = 0x00800000;
inline constexpr std::uint32_t loggedIn           = 0x80000000; // the service is logged in as the token's user
// clang-format on
} // namespace tokenFlag

// PinStateMessage::title of a refused log-in. The text with it says how many tries remain, if that is known.
namespace pinTitle {
inline constexpr const char* wrongPin = "Wrong PIN";
inline constexpr const char* locked = "PIN locked";
inline constexpr const char* finalTry = "Final try";
} // namespace pinTitle

// The arguments of the token operations without descriptive names:
//   TokenLogin(token, pin, flag)                  flag: the final try may be spent
//   TokenInitialize(token, s1, s2, s3, flag)      s1 new label, s2 SO PIN, s3 user PIN; flag: erase the present content
//   TokenChangePassword(token, old, new, f1, f2)  f1: the SO PIN instead of the user's; f2: the final try may be spent

} // namespace vocabulary
