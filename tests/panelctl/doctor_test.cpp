// SPDX-License-Identifier: MIT
//
// panelctl doctor against services with and without problems. Runs under Wine too.
#include "../support/panelctl_fixture.h"

#include <panelkit/certs/cert_records.h>
#include <panelkit/tokens/token_records.h>
#include <vocabulary/refusals.h>
#include <vocabulary/tokens.h>

#include <ctime>

using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;
namespace flag = vocabulary::tokenFlag;

namespace {

// A service without problems.
class TheDoctor : public PanelctlTest {
protected:
    TheDoctor() {
        hasProviders({{"card", "/c.so", "", "", "", "", 1, true, true, false, ""}});
        hasTokens(flag::initialized | flag::userPinInitialized);
        hasCertificate(400);
    }
    void hasProviders(const std::vector<ProviderInfo>& providers) { service.answer<Command::EnumProviders>(providers); }
    void hasTokens(std::uint32_t flags) {
        service.answer<Command::EnumProviderTokens>(std::vector<TokenInfo>{{1, "Office", "A1", "", "card", flags}});
    }
    void hasCertificate(int daysLeft) {
        CertInfo certificate;
        certificate.subject = "CN=Alice";
        certificate.notAfter = static_cast<std::uint64_t>(std::time(nullptr) + daysLeft * 86400 + 3600);
        service.on(Command::EnumCertificates, Reaction::reply(encoded(std::uint32_t{1}, TokenInfo{}, certificate)));
    }

    // The finding of one check.
    nlohmann::json finding(const std::string& check) {
        for (const auto& one : json({"doctor"})) {
            if (one["check"] == check) return one;
        }
        return {};
    }
    void expectSick(const std::string& check, const std::string& state, const std::string& found, int status) {
        const nlohmann::json one = finding(check);
        EXPECT_EQ(one["state"], state) << one;
        EXPECT_THAT(one["found"].get<std::string>(), HasSubstr(found));
        EXPECT_NE(one["remedy"], "") << check;
        EXPECT_EQ(run({"doctor", "--json"}).status, status);
    }
};

TEST_F(TheDoctor, FindsNothingWrongWhereNothingIs) {
    for (const char* check : {"service", "rights", "providers", "tokens", "certificates", "language"}) {
        EXPECT_EQ(finding(check)["state"], "ok") << finding(check);
        EXPECT_EQ(finding(check)["remedy"], "");
    }
    EXPECT_THAT(finding("service")["found"].get<std::string>(), HasSubstr("answers at " + service.endpoint()));
}

TEST_F(TheDoctor, NamesWhatIsBrokenAndWhatWillBe) {
    hasCertificate(30);
    EXPECT_EQ(finding("certificates")["state"], "ok");
    hasCertificate(29);
    expectSick("certificates", "warning", "\"CN=Alice\"", 81);
    hasCertificate(-2);
    expectSick("certificates", "problem", "expired: \"CN=Alice\"", 80);
    hasCertificate(400);
    hasTokens(flag::initialized | flag::userPinFinalTry);
    expectSick("tokens", "warning", "one PIN try remains: \"Office\"", 81);
    hasTokens(flag::initialized | flag::userPinLocked);
    expectSick("tokens", "problem", "PIN locked: \"Office\"", 80);
    hasTokens(0);
    expectSick("tokens", "warning", "no initialised token", 81);
    hasProviders({{"card", "/c.so", "", "", "", "", 0, false, true, false, "it \x1B crashed"}});
    expectSick("providers", "problem", "\"card\": not loaded: it \\x1B crashed", 80);
}

TEST_F(TheDoctor, NamesATokenThatCantBeRead) {
    const Loc::Phrase why = Loc::makePhrase("the token \"%s\" could not be read", std::string("Off\x1B"
                                                                                              "ice"));
    constexpr auto code = static_cast<std::uint32_t>(vocabulary::Refused::incomplete);
    service.on(Command::EnumProviderTokens, Reaction::reply(encoded(std::uint32_t{0})).remarking(code, why));
    expectSick("tokens", "problem", "the token \"Off\\x1Bice\" could not be read", 80);
    hasTokens(flag::initialized | flag::userPinInitialized);
    service.on(Command::EnumCertificates, Reaction::reply(encoded(std::uint32_t{0})).remarking(code, why));
    expectSick("certificates", "problem", "could not be read", 80);
}

TEST_F(TheDoctor, NamesAFileThatTheServiceCantUse) {
    EXPECT_EQ(finding("state")["state"], "ok");
    const auto remark = Loc::makePhrase("%s can't be used; defaults are in use, and changes are refused until an "
                                        "administrator repairs or removes the file and restarts the service",
                                        std::string("/state/providers.json"));
    service.on(
        Command::EnumProviders,
        Reaction::reply(encoded(std::vector<ProviderInfo>{{"card", "/c.so", "", "", "", "", 1, true, true, false, ""}}))
            .remarking(static_cast<std::uint32_t>(vocabulary::Refused::notStored), remark));
    EXPECT_EQ(finding("providers")["state"], "ok");
    expectSick("state", "problem", "/state/providers.json can't be used; defaults are in use", 80);
}

TEST_F(TheDoctor, PassesOverWhatTheServiceDoesNotHave) {
    service.on(Command::EnumCertificates, Reaction::refuse("this service has no module 8"));
    EXPECT_EQ(finding("certificates")["state"], "not-checked");
    EXPECT_THAT(finding("certificates")["found"].get<std::string>(), HasSubstr("no module 8"));
    service.on(Command::EnumCertificates,
               Reaction::refuse("it broke", static_cast<std::uint32_t>(vocabulary::Refused::deviceError)));
    EXPECT_EQ(finding("certificates")["state"], "problem") << "a refusal with a reason is an answer";
    service.on(Command::EnumCertificates, Reaction::reply("x"));
    EXPECT_EQ(finding("certificates")["state"], "problem") << "a reply that ends early is not an answer";
}

TEST_F(TheDoctor, SaysWhyTheServiceCannotBeReached) {
    service.greet({.verdict = 2, .text = "nobody may not use this service"});
    expectSick("service", "problem", "nobody may not use this service", 80);
    EXPECT_EQ(finding("tokens")["state"], "not-checked");
    const auto result = panelctl(panelkit::testing::uniqueEndpoint(), {"doctor", "--lang", "ru"});
    EXPECT_EQ(result.status, 80);
    EXPECT_THAT(result.output, HasSubstr("служба не запущена: "));
    EXPECT_THAT(result.output, HasSubstr("-> запустите службу"));
}

} // namespace
