// SPDX-License-Identifier: MIT
//
// PKCS#11 providers and tokens as the service lists them, and the two texts that come with a refused log-in. Plain
// values: default construction makes empty strings, zeros and false. The library carries the fields and does not
// interpret them. The comments say what panelkitd puts there, and the names that vocabulary/tokens.h has for it.
#pragma once

#include <panelkit/bridge/record.h>

#include <cstdint>
#include <string>

namespace PKCS11 {

// A PKCS#11 provider: a library that the service has loaded or can load.
struct ProviderInfo {
    std::string str1;      // name: unique; made from the file name unless given
    std::string str2;      // path of the module: absolute, links resolved
    std::string str3;      // manufacturer, as the module reports it
    std::string str4;      // description, likewise
    std::string str5;      // moduleVersion: "2.6"
    std::string str6;      // cryptokiVersion: "2.40"
    std::uint32_t value{}; // tokenCount: tokens that are present
    bool flagA{};          // isLoaded
    bool flagB{};          // isRemembered: it is loaded again at every start; in a request, the wish for that. Cleared
                           // by VpnTokensController::ProviderLoad after the request is encoded
    bool flagC{};          // isEmbedded: the service's own, which can't be unloaded
    std::string str7;      // problem: why it is not loaded; empty otherwise

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
    std::string text1;      // label: empty until the token is initialised
    std::string text2;      // serial number
    std::string text3;      // model: "manufacturer, model"
    std::string text4;      // provider: its name
    std::uint32_t flags{};  // tokenFlag: the token's own, with PKCS#11's numbers, and whether the service is logged in

    static auto fields(auto& self, auto&& io) {
        return io(self.slotId, self.text1, self.text2, self.text3, self.text4, self.flags);
    }
    bool operator==(const TokenInfo&) const = default;
};
static_assert(RecordListsEveryMember<TokenInfo>);

} // namespace PKCS11

// Why a log-in was refused: texts from the service.
struct PinStateMessage {
    std::string title; // pinTitle: "Wrong PIN", "PIN locked", "Final try"
    std::string text;  // how many tries remain, if that is known

    static auto fields(auto& self, auto&& io) { return io(self.title, self.text); }
    bool operator==(const PinStateMessage&) const = default;
};
static_assert(RecordListsEveryMember<PinStateMessage>);
