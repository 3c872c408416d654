// SPDX-License-Identifier: MIT
//
// What panelctl says of a real token while nobody is logged in to it, and of files that are damaged or come in pieces.
#include "../support/panelctl_fixture.h"

namespace {

class AClosedToken : public PanelctlForReal {
protected:
    AClosedToken() {
        login();
        good({"key", "generate", "gate", "--key", "ec:256"});
        good({"psk", "create", "site", "--value-stdin"}, "secret\n");
        for (const char* name : {"one", "two"}) {
            openssl({"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", file(name) + ".key", "-out",
                     file(name) + ".pem", "-subj", std::string("/CN=") + name});
        }
    }

    std::string content(const std::string& name) const {
        std::ifstream in(file(name));
        return {std::istreambuf_iterator<char>(in), {}};
    }
};

TEST_F(AClosedToken, IsNamedInListsThatLackItsPrivateObjects) {
    good({"cert", "import", file("one.pem"), "--key-file", file("one.key")});
    EXPECT_EQ(json({"cert", "show", "one"})["hasPrivateKey"], true);
    good({"token", "logout", "Office"});
    const struct {
        std::vector<std::string> arguments;
        int status, strict; // exit codes, without and with --strict
    } rows[] = {
        {{"cert", "list", "--with-key"}, 0, 14},
        {{"cert", "list", "--others"}, 0, 14},
        {{"cert", "list"}, 0, 0}, // certificates are public
        {{"key", "list"}, 0, 14},
        {{"psk", "list"}, 0, 14},
        {{"psk", "delete", "site", "--yes"}, 14, 14},
        {{"psk", "delete", "none", "--yes"}, 14, 14},
        {{"key", "show", "none"}, 14, 14},
    };
    for (auto [arguments, status, strict] : rows) {
        const std::string verb = arguments[0] + " " + arguments[1];
        const auto result = run(arguments);
        EXPECT_EQ(result.status, status) << verb << result.error;
        const bool named = strict != 0;
        EXPECT_EQ(result.error.find("\"Office\" are not seen") != std::string::npos, named) << verb << result.error;
        arguments.emplace_back("--strict");
        EXPECT_EQ(run(arguments).status, strict) << verb;
        if (!named) continue;
        arguments.back() = "--json";
        const nlohmann::json error = nlohmann::json::parse(run(arguments).error);
        EXPECT_EQ(error["code"], status) << verb;
        EXPECT_EQ(error["incomplete"].size(), 1U) << verb;
    }
    EXPECT_EQ(json({"cert", "show", "one"})["hasPrivateKey"], nullptr);
    EXPECT_THAT(run({"cert", "show", "one"}).output, HasSubstr("not visible without log-in"));
    login();
    EXPECT_EQ(run({"psk", "delete", "none", "--yes"}).status, 10) << "now it is known";
    good({"psk", "delete", "site", "--yes", "--json"});
}

TEST_F(AClosedToken, DamagedBlocksAreNamedAndLeftOutOnlyOnDemand) {
    std::string damaged = content("two.pem");
    damaged.replace(damaged.find("MII"), 3, "!!!");
    std::ofstream(file("bundle.pem")) << "first\n" << content("one.pem") << damaged << content("two.pem");
    const auto refused = run({"cert", "import", file("bundle.pem")});
    EXPECT_EQ(refused.status, 12);
    EXPECT_THAT(refused.error, HasSubstr("PEM block 2, which begins on line 2"));
    EXPECT_EQ(json({"cert", "list"}).size(), 0U) << "nothing is half done";
    const auto skipped = run({"cert", "import", file("bundle.pem"), "--skip-damaged", "--json"});
    EXPECT_EQ(skipped.status, 0) << skipped.error;
    EXPECT_EQ(nlohmann::json::parse(skipped.output).size(), 2U);
    EXPECT_EQ(nlohmann::json::parse(skipped.error)["details"].size(), 1U);
}

TEST_F(AClosedToken, FilesComeFromStandardInputAndInTwoParts) {
    good({"cert", "import", "-"}, content("two.pem"));
    EXPECT_EQ(run({"cert", "import", "-"}, content("two.pem")).status, 62);
    good({"cert", "import", file("one.pem"), "--key-file", file("one.key")});
    EXPECT_EQ(json({"cert", "list", "--with-key"}).size(), 1U);
    EXPECT_EQ(run({"cert", "import", file("one.pem"), "--key-file", file("none.key")}).status, 12);
}

TEST_F(AClosedToken, IsFoundByEveryAttributeOfItsUri) {
    const nlohmann::json provider = json({"provider", "list"})[0];
    const std::string path = provider["path"], uri = "pkcs11:token=Office";
    const struct {
        std::vector<std::string> arguments;
        int status;
    } rows[] = {
        {{uri + "?module-path=" + path}, 0},
        {{uri + "?module-path=/none.so"}, 10},
        {{uri + ";slot-id=0"}, 0},
        {{uri + ";slot-id=77"}, 10},
        {{uri + "?module-name=softhsm2"}, 0},
        {{uri + "?module-name=opensc"}, 10},
        {{uri + ";library-version=9.9"}, 10},
        {{uri + "?pin-value=user-1"}, 2},
        {{uri + ";colour=red"}, 2},
        {{"Office", "--provider", "embedded"}, 0},
        {{"Office", "--provider", path}, 0},
        {{"Office", "--provider", "none"}, 10},
    };
    for (auto [arguments, status] : rows) {
        std::string shown = arguments.back();
        arguments.insert(arguments.begin(), {"token", "login"});
        EXPECT_EQ(run(arguments).status, status) << shown;
    }
}

} // namespace
