// SPDX-License-Identifier: MIT
//
// The completions that panelctl offers to a shell, word by word. Runs under Wine too.
#include "../support/panelctl_fixture.h"

#include <panelkit/certs/cert_records.h>
#include <panelkit/tokens/token_records.h>
#include <vocabulary/tokens.h>

using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;
using testing::Contains;
using testing::UnorderedElementsAre;

namespace {

class ACommandLineBeingTyped : public PanelctlTest {
protected:
    ACommandLineBeingTyped() {
        const std::uint32_t ready = vocabulary::tokenFlag::initialized;
        service.answer<Command::EnumProviderTokens>(std::vector<TokenInfo>{{1, "Office North", "A1", "", "card", ready},
                                                                           {2, "Офис", "B2", "", "card", ready},
                                                                           {3, "bad\nlabel", "C3", "", "card", ready}});
        service.answer<Command::EnumProviders>(
            std::vector<ProviderInfo>{{"card", "/c.so", "", "", "", "", 3, true, true, false, ""}});
    }

    // The words that are offered, without their descriptions.
    std::vector<std::string> offered(std::vector<std::string> words) const {
        words.insert(words.begin(), "--complete");
        return offered(service.endpoint(), words);
    }
    static std::vector<std::string> offered(const std::string& endpoint, const std::vector<std::string>& arguments) {
        platform::ChildOptions options;
        options.arguments = {builtProgram("panelctl")};
        options.arguments.insert(options.arguments.end(), arguments.begin(), arguments.end());
        options.environment = {{"PANELKIT_BRIDGE", endpoint}, {"LC_ALL", "C.UTF-8"}};
        const auto result = platform::runChild(options, std::chrono::seconds(60));
        EXPECT_EQ(result.status, 0) << result.error;
        EXPECT_EQ(result.error, "");
        std::istringstream lines(result.output);
        std::vector<std::string> words;
        for (std::string line; std::getline(lines, line);) words.push_back(line.substr(0, line.find('\t')));
        return words;
    }
};

TEST_F(ACommandLineBeingTyped, IsContinuedWithGroupsVerbsAndOptions) {
    EXPECT_THAT(offered({"prov"}), ElementsAre("provider"));
    EXPECT_THAT(offered({"provider", ""}), UnorderedElementsAre("list", "load", "unload", "raise"));
    EXPECT_THAT(offered({"token", "login", "--fi"}), ElementsAre("--final-try"));
    EXPECT_THAT(offered({"token", "login", "--js"}), ElementsAre("--json")) << "global options go behind the verb too";
    EXPECT_THAT(offered({}), Contains("token"));
    EXPECT_THAT(offered({"token", "login", "--"}), Not(Contains("--complete")));
}

TEST_F(ACommandLineBeingTyped, IsContinuedWithWhatTheServiceKnows) {
    EXPECT_THAT(offered({"token", "login", ""}), UnorderedElementsAre("Office North", "Офис"))
        << "a label that would act on the terminal is not offered";
    EXPECT_THAT(offered({"token", "login", "Оф"}), ElementsAre("Офис"));
    EXPECT_THAT(offered({"token", "login", "Офис", ""}), IsEmpty()) << "it takes one token";
    EXPECT_THAT(offered({"token", "list", "--provider", ""}), ElementsAre("card"));
    EXPECT_THAT(offered({"token", "list", "--provider=c"}), ElementsAre("--provider=card"));
    EXPECT_THAT(offered({"token", "list", "--provider", "=", "c"}), ElementsAre("card")) << "as bash splits words";
    EXPECT_THAT(offered({"token", "list", "--provider", "card", "--lang", "r"}), ElementsAre("ru"));
}

TEST_F(ACommandLineBeingTyped, IsContinuedWithCertificatesCrlsAndKeys) {
    const TokenInfo card{1, "Office", "A1", "", "card", vocabulary::tokenFlag::initialized};
    CertInfo anna, twin, other;
    anna.subject = "CN=anna,O=x";
    anna.fingerprint = "AAAAAAAA";
    twin = other = anna;
    other.subject = "CN=boris";
    twin.fingerprint = "BBBBBBBB";
    const auto listed = encoded(std::uint32_t{3}, card, anna, card, other, card, twin);
    service.on(Command::EnumCertificates, Reaction::reply(listed));
    CRLInfo crl;
    crl.issuer = "CN=ca";
    service.on(Command::EnumCRLs, Reaction::reply(encoded(std::uint32_t{1}, card, crl)));
    service.on(Command::EnumPresharedKeys,
               Reaction::reply(encoded(std::uint32_t{1}, card, PresharedKeyInfo{"partner"})));
    EXPECT_THAT(offered({"cert", "show", ""}), UnorderedElementsAre("AAAAAAAA", "BBBBBBBB", "boris"))
        << "a name of two certificates names neither";
    EXPECT_THAT(offered({"cert", "export", "bo"}), ElementsAre("boris"));
    EXPECT_THAT(offered({"crl", "delete", ""}), ElementsAre("CN=ca"));
    EXPECT_THAT(offered({"psk", "delete", ""}), ElementsAre("partner"));
    EXPECT_THAT(offered({"psk", "create", ""}), IsEmpty()) << "a new one has a new name";
    EXPECT_THAT(offered({"policy", "source", "set", "--psk", ""}), ElementsAre("partner"));
}

TEST_F(ACommandLineBeingTyped, IsContinuedWithParametersAndChoicesOfThePolicy) {
    EXPECT_THAT(offered({"config", "get", "IKE.EXCHANGE_T"}), ElementsAre("IKE.EXCHANGE_TIMEOUT"));
    EXPECT_THAT(offered({"config", "set", "IKE.EXCHANGE_T"}), ElementsAre("IKE.EXCHANGE_TIMEOUT"));
    EXPECT_THAT(offered({"policy", "activate", "s"}), ElementsAre("system"));
    EXPECT_THAT(offered({"policy", "source", "set", "--source", "SOURCE_F"}), ElementsAre("SOURCE_FILE"));
    EXPECT_THAT(offered({"policy", "source", "set", "--driver-mode=p"}), ElementsAre("--driver-mode=pass-all"));
    EXPECT_THAT(offered({"policy", "source", "set", "--auth", ""}), ElementsAre("certificate", "preshared-key"));
    EXPECT_THAT(offered({"policy", "source", "set", "--id-type", "PMPID_DN"}), ElementsAre("PMPID_DNS", "PMPID_DN"));
}

TEST_F(ACommandLineBeingTyped, IsAskedAboutAtTheServiceThatItNames) {
    const std::string nobody = panelkit::testing::uniqueEndpoint();
    EXPECT_THAT(offered(nobody, {"--complete", "--endpoint", service.endpoint(), "token", "login", "Of"}),
                ElementsAre("Office North"));
    EXPECT_THAT(offered(nobody, {"--complete", "token", "login", ""}), IsEmpty()) << "and no error";
}

} // namespace
