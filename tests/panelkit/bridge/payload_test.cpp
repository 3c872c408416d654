// SPDX-License-Identifier: MIT
//
// Payloads hold the fields of their rows: what the compiler refuses, and the bytes of what it takes.
#include <panelkit/bridge/payload.h>

#include <panelkit/certs/cert_records.h>
#include <panelkit/lsp/lsp_records.h>
#include <panelkit/tokens/token_records.h>

#include "../../support/bytes.h"
#include "../../support/test.h"

using namespace panelkit;
using LSPcmd::LSPsettings_t;
using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;
using std::string;
using std::string_view;

namespace {

template <Command command, class... Given>
constexpr bool isRequest = fits(RequestOf<command>(), Fields<Given...>(), Extent::all);
template <Command command, class... Given>
constexpr bool isReply = fits(ReplyOf<command>(), Fields<Given...>(), Extent::all);
template <Command command, class... Given>
constexpr bool beginsReply = fits(ReplyOf<command>(), Fields<Given...>(), Extent::first);

TEST(ARequest, HasAllFieldsOfItsRowAndNoOthers) {
    EXPECT_TRUE((isRequest<Command::TokenLogin, TokenInfo, string, bool>));
    EXPECT_TRUE((isRequest<Command::TokenLogin, TokenInfo, string_view, bool>));
    EXPECT_FALSE((isRequest<Command::TokenLogin, TokenInfo, string>)) << "one is missing";
    EXPECT_FALSE((isRequest<Command::TokenLogin, TokenInfo, string, bool, bool>)) << "one too many";
    EXPECT_FALSE((isRequest<Command::TokenLogin, ProviderInfo, string, bool>)) << "another record";
    EXPECT_FALSE((isRequest<Command::TokenLogin, TokenInfo, string, std::uint32_t>)) << "another width";
    EXPECT_FALSE((isRequest<Command::TokensReloadAll, bool>)) << "it is empty";
    EXPECT_FALSE((isRequest<Command::ImportCertificate, TokenInfo, std::uint32_t, CertExportFormat, bool>))
        << "another enumeration";
}

TEST(ARequest, MayLackOnlyWhatItsRowSaysMayBeMissing) {
    EXPECT_TRUE((isRequest<Command::EnumProviderTokens>));
    EXPECT_TRUE((isRequest<Command::EnumProviderTokens, ProviderInfo>));
    EXPECT_TRUE((isRequest<Command::GetUserSettings, string>));
    EXPECT_TRUE((isRequest<Command::GetUserSettings, string, LSPsettings_t>));
    EXPECT_FALSE((isRequest<Command::GetUserSettings, LSPsettings_t>));
    EXPECT_FALSE((isRequest<Command::SetUserSettings, string>));
}

TEST(ARequest, TakesBytesThatAreInStreamForm) {
    EXPECT_FALSE((isRequest<Command::WriteGroup, string, string>)) << "a text would be sent with a length";
    std::string request;
    appendRequest<Command::WriteGroup>(request, string_view("LOG"), Encoded{string_view("\x01\0x", 3)});
    EXPECT_EQ(request, hex("03 00 00 00 'LOG' 01 00 'x'"));
}

TEST(AReply, IsReadFromItsStart) {
    EXPECT_TRUE((isReply<Command::TokenLogin, bool>));
    EXPECT_FALSE((isReply<Command::ProviderLoad, bool>)) << "the service must send the record too";
    EXPECT_TRUE((beginsReply<Command::ProviderLoad, bool>));
    EXPECT_FALSE((beginsReply<Command::ProviderLoad, ProviderInfo>));
    const std::string reply = encodeReply<Command::ActivateSystem>(true, string("ok"));
    EXPECT_EQ(reply, hex("01 02 00 00 00 'ok'"));
    bool done = false;
    string words;
    readReply<Command::ActivateSystem>(reply, done, words);
    EXPECT_TRUE(done);
    EXPECT_EQ(words, "ok");
    EXPECT_TRUE(readStatus<Command::ActivateSystem>(reply));
    EXPECT_FALSE(readStatus<Command::ActivateSystem>(hex("02"))) << "1 and nothing else";
}

TEST(AReply, HasPairsAfterTheirCount) {
    using Keys = std::vector<Pair<TokenInfo, PresharedKeyInfo>>;
    EXPECT_TRUE((isReply<Command::EnumPresharedKeys, Keys>));
    EXPECT_FALSE((isReply<Command::EnumPresharedKeys, std::vector<TokenInfo>>)) << "not pairs";
    EXPECT_FALSE((isReply<Command::EnumPresharedKeys, std::vector<Pair<TokenInfo, CRLInfo>>>)) << "another record";
    EXPECT_FALSE((isReply<Command::EnumCRLs>)) << "the count is missing";
    EXPECT_TRUE((isReply<Command::EnumCRLs, std::vector<Pair<TokenInfo, CRLInfo>>>)) << "the others may be missing";
    std::string token, pairs;
    CommandStreamOut(token).append(TokenInfo());
    for (const string name : {"'a'", "'b'"}) pairs += token + hex("01 00 00 00 " + name);
    const Keys keys{{TokenInfo(), {"a"}}, {TokenInfo(), {"b"}}};
    EXPECT_EQ(encodeReply<Command::EnumPresharedKeys>(keys), hex("02 00 00 00") + pairs);
}

} // namespace
