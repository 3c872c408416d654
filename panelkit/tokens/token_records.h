// SPDX-License-Identifier: MIT
//
// PKCS#11 providers and tokens as the service lists them, and the two texts that come with a refused log-in. Plain
// values: default construction makes empty strings, zeros and false. The library carries the fields and does not
// interpret them; docs/service-api.md and vocabulary/tokens.h describe them.
#pragma once

#include <panelkit/bridge/record.h>

#include <cstdint>
#include <string>

namespace PKCS11 {

// A PKCS#11 provider: a library that the service has loaded or can load.
struct ProviderInfo {
    std::string str1;
    std::string str2;
    std::string str3;
    std::string str4;
    std::string str5;
    std::string str6;
    std::uint32_t value{};
    bool flagA{};
    bool flagB{}; // cleared by VpnTokensController::ProviderLoad after the request is encoded
    bool flagC{};
    std::string str7;

    static auto fields(auto& self, auto&& io) {
        return io(self.str1, self.str2, self.str3, self.str4, self.str5, self.str6, //
                  self.value, self.flagA, self.flagB, self.flagC, self.str7);
    }
    bool operator==(const ProviderInfo&) const = default;
};
static_assert(RecordListsEveryMember<ProviderInfo>);

// A token in a slot of a provider. Requests name a token by sending the record back as it was listed.
struct TokenInfo {
    std::uint64_t slotId{}; // the PKCS#11 slot identifier
    std::string text1;
    std::string text2;
    std::string text3;
    std::string text4;
    std::uint32_t flags{};

    static auto fields(auto& self, auto&& io) {
        return io(self.slotId, self.text1, self.text2, self.text3, self.text4, self.flags);
    }
    bool operator==(const TokenInfo&) const = default;
};
static_assert(RecordListsEveryMember<TokenInfo>);

} // namespace PKCS11

// Why a log-in was refused: texts from the service.
struct PinStateMessage {
    std::string title;
    std::string text;

    static auto fields(auto& self, auto&& io) { return io(self.title, self.text); }
    bool operator==(const PinStateMessage&) const = default;
};
static_assert(RecordListsEveryMember<PinStateMessage>);
