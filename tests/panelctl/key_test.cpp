// SPDX-License-Identifier: MIT
//
// panelctl key and token states against the scripted service. Runs under Wine too.
#include "cert_fixture.h"

using panelkit::KeyInfo;
using panelkit::ProviderCondition;
using panelkit::ProviderState;
using panelkit::TokenCondition;
using panelkit::TokenState;
using vocabulary::Refused;

namespace {

class KeyVerbs : public CertVerbs {
protected:
    KeyVerbs() {
        list({{office, whole}, {closed, half}, {office, nameless}});
        service.answer<Command::EnumProviderTokens>(std::vector<TokenInfo>{office, closed});
    }
    void list(const std::vector<std::pair<TokenInfo, KeyInfo>>& keys) {
        service.on(Command::EnumKeys, Reaction::reply(pairs(keys)));
    }
    Reaction listWithout(const char* text) {
        return Reaction::reply(pairs<KeyInfo>({{office, whole}}))
            .remarking(static_cast<std::uint32_t>(Refused::incomplete), Loc::makePhrase("%s", std::string(text)));
    }

    const TokenInfo closed = [this] {
        TokenInfo token = home;
        token.flags |= vocabulary::tokenFlag::loginRequired;
        return token;
    }();
    const KeyInfo whole{.label = "gate",
                        .id = "C3A4",
                        .keyType = vocabulary::keyType::rsa,
                        .keyBits = 2048,
                        .fingerprint = "AAAAAAAABBBBBBBBCCCC",
                        .hasPrivateKey = true,
                        .hasPublicKey = true,
                        .usable = true,
                        .certificates = {gate.fingerprint}};
    const KeyInfo half{.label = "half",
                       .id = "0B",
                       .keyType = vocabulary::keyType::ec,
                       .keyBits = 256,
                       .fingerprint = "DDDDDDDDBBBBBBBBCCCC",
                       .hasPublicKey = true};
    const KeyInfo nameless{.id = "0C", .keyType = vocabulary::keyType::ec, .hasPrivateKey = true};
};

TEST_F(KeyVerbs, ListKeysWithWhatCanBeDoneWithThem) {
    EXPECT_EQ(run({"key", "list"}).output, "NAME  KEY       PRIVATE KEY                 CERTIFICATES  KEY ID  TOKEN\n"
                                           "0C    EC        can't sign                                0C      Office\n"
                                           "gate  RSA 2048  can be used                 1             C3A4    Office\n"
                                           "half  EC 256    not visible without log-in                0B      東京\n");
    EXPECT_EQ(sent(Command::EnumKeys), "");
    run({"key", "list", "--token", "B2"});
    EXPECT_EQ(sent(Command::EnumKeys), encoded(closed)) << "only that token is read";
    const auto read = json({"key", "list"});
    expectHolds(read, R"([{}, {"label": "gate", "type": "RSA", "usable": true, "certificates": ["11111111AAAAAAAA2222"],
        "token": {"label": "Office"}}, {"hasPrivateKey": null}])"); // null: it is not known without log-in
    EXPECT_THAT(read[1]["uri"].get<std::string>(), HasSubstr(";id=%C3%A4;object=gate;type=private"));
    list({});
    EXPECT_THAT(run({"key", "list"}).error, HasSubstr("There are no keys."));
    EXPECT_EQ(run({"key", "list", "--json"}).output, "[]\n");
}

TEST_F(KeyVerbs, SayWhichTokensTheyCouldNotSeeInto) {
    service.on(Command::EnumKeys, listWithout("nobody is logged in to \"Home\""));
    const auto listed = run({"key", "list"});
    EXPECT_EQ(listed.status, 14);
    EXPECT_THAT(listed.output, HasSubstr("gate"));
    EXPECT_THAT(listed.error, HasSubstr("this list is incomplete\nnobody is logged in to \"Home\""));
    EXPECT_EQ(run({"key", "show", "gate", "--json"}).status, 0) << "what is found is found";
    expectError(run({"key", "show", "other"}), 14, "as far as the tokens could be read");
    expectError(run({"key", "delete", "other", "--yes"}), 14, "nobody is logged in");
}

TEST_F(KeyVerbs, FindAKeyByWhateverAPersonHas) {
    for (const char* name : {"gate", "c3:a4", "aaaaaaaa", "AAAAAAAABBBBBBBBCCCC", "pkcs11:object=gate;type=private",
                             "pkcs11:token=Office;id=%C3%A4"}) {
        const auto result = run({"key", "show", name});
        EXPECT_EQ(result.status, 0) << name << result.error;
        EXPECT_THAT(result.output, HasSubstr("AAAAAAAABBBBBBBBCCCC")) << name;
    }
    EXPECT_EQ(run({"key", "show", "0c"}).status, 0);
    expectError(run({"key", "show", "gat"}), 10, "there is no key \"gat\"; did you mean \"gate\"?");
    expectError(run({"key", "show", "aaaaaaa"}), 10, "there is no key");
    list({{office, whole}, {closed, whole}});
    expectError(run({"key", "show", "gate"}), 11, "  AAAAAAAABBBBBBBB  \"gate\", RSA 2048, on token \"東京\"");
    TokenInfo proxied = office;
    proxied.*vocabulary::token::provider = "proxy";
    list({{office, whole}, {proxied, whole}});
    expectError(run({"key", "show", "gate"}), 11, "on token \"Office\" of provider \"proxy\" (--provider)");
}

TEST_F(KeyVerbs, ShowAKeyWithItsCertificates) {
    service.answer<Command::GetPublicKey>(std::string("-----BEGIN PUBLIC KEY-----\n"));
    const auto shown = run({"key", "show", "gate"});
    EXPECT_THAT(shown.output, HasSubstr("Private key:     can be used\n"));
    EXPECT_THAT(shown.output, HasSubstr("Certificates:    gate, west\n"));
    EXPECT_THAT(shown.output, HasSubstr("the private key can't be exported"));
    EXPECT_EQ(run({"key", "show", "gate", "--pem"}).output, "-----BEGIN PUBLIC KEY-----\n");
    EXPECT_EQ(sent(Command::GetPublicKey), encoded(office, whole));
    const auto read = json({"key", "show", "gate", "--pem"});
    EXPECT_EQ(read["publicKey"], "-----BEGIN PUBLIC KEY-----\n");
    service.on(Command::GetPublicKey, Reaction::refuse("no half", static_cast<std::uint32_t>(Refused::noSuchObject)));
    expectError(run({"key", "show", "0c", "--pem"}), 10, "no half");
}

TEST_F(KeyVerbs, MakeAKeyThatTheTokenOffers) {
    service.answer<Command::GetCertRequestKeyInfo>(
        std::vector<CertRequestKeyInfo>{{vocabulary::keyType::rsa, {1024, 2048}, {vocabulary::digest::sha256}},
                                        {vocabulary::keyType::ec, {256, 384}, {vocabulary::digest::sha384}}});
    service.answer<Command::GenerateKey>(whole);
    EXPECT_EQ(run({"key", "generate", "gate", "--token", "A1"}).output,
              "Key \"gate\" (RSA 2048) is made on token \"Office\".\n");
    EXPECT_EQ(sent(Command::GenerateKey),
              encoded(office, vocabulary::keyType::rsa, std::uint32_t{2048}, std::string("gate")));
    const auto read = json({"key", "generate", "x", "--token", "A1", "--key", "ec:384"});
    EXPECT_EQ(read["keyId"], "C3A4");
    EXPECT_EQ(sent(Command::GenerateKey),
              encoded(office, vocabulary::keyType::ec, std::uint32_t{384}, std::string("x")));
    expectError(run({"key", "generate", "x", "--token", "A1", "--key", "ec:255"}), 12,
                "the token can't make a key \"ec:255\"; it offers rsa:1024, rsa:2048, ec:256, ec:384");
    service.on(Command::GenerateKey, Reaction::refuse("taken", static_cast<std::uint32_t>(Refused::alreadyThere)));
    expectError(run({"key", "generate", "x", "--token", "A1"}), 62, "taken");
}

TEST_F(KeyVerbs, DeleteAKeyOnlyWhenThatIsConfirmed) {
    service.on(Command::DeleteKey, Reaction::reply(""));
    expectError(run({"key", "delete", "gate"}), 26, "\"gate\" would be deleted; use --yes");
    EXPECT_EQ(sent(Command::DeleteKey), "");
    EXPECT_EQ(run({"key", "delete", "gate", "--yes"}).output, "Key \"gate\" is deleted from token \"Office\".\n");
    EXPECT_EQ(sent(Command::DeleteKey), encoded(office, whole));
    EXPECT_EQ(json({"key", "delete", "gate", "--yes"})["deleted"]["label"], "gate");
    int listings = 0;
    service.on(Command::EnumKeys, [&](const panelkit::testing::Received&) {
        KeyInfo changed = whole;
        if (++listings > 1) changed.certificates.clear();
        return Reaction::reply(pairs<KeyInfo>({{office, changed}}));
    });
    expectError(run({"key", "delete", "gate", "--yes"}), 10, "is no longer there; nothing was done");
}

// ---- states

TEST_F(CertVerbs, ShowTheStateOfEveryProviderAndToken) {
    const std::vector<ProviderState> providers{
        {"embedded", "/a.so", ProviderCondition::ready, {}},
        {"card", "/b.so", ProviderCondition::restarting, {{16, "no tokens of \"%s\"", {"card"}}, {25, "crashed", {}}}},
        {"new", "/c.so", static_cast<ProviderCondition>(77), {}}};
    const std::vector<TokenState> states{{office, TokenCondition::seen}, {home, TokenCondition::outOfReach}};
    service.answer<Command::GetStates>(providers, states);
    const auto shown = run({"token", "states"});
    EXPECT_EQ(shown.status, 0);
    EXPECT_EQ(shown.output, "PROVIDER  STATE\n"
                            "embedded  ready\n"
                            "card      being started again\n"
                            "new       does not answer\n"
                            "\n"
                            "TOKEN   PROVIDER  STATE\n"
                            "Office  embedded  all objects are visible\n"
                            "東京    card      out of reach\n");
    EXPECT_EQ(shown.error, "no tokens of \"card\": crashed\n");
    expectHolds(json({"token", "states"}), R"({"providers": [{}, {"state": "restarting",
        "why": "no tokens of \"card\": crashed"}, {}], "tokens": [{}, {"state": "out-of-reach", "label": "東京"}]})");
}

} // namespace
