// SPDX-License-Identifier: MIT
//
// An administrator's certificates: panelctl, panelkitd, SoftHSM2, and OpenSSL as an authority and as a judge.
#include "../support/panelctl.h"

#include <nlohmann/json.hpp>

#include <gmock/gmock.h>

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

namespace {

class CertificatesForReal : public testing::Test {
protected:
    CertificatesForReal() {
        const auto made =
            run({"token", "init", "--label", "Office", "--so-pin-stdin", "--pin-stdin"}, "so-pin-1\nuser-1\n");
        EXPECT_EQ(made.status, 0) << made.error;
        openssl({"req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-keyout",
                 file("ca.key"), "-out", file("ca.pem"), "-days", "3000", "-subj", "/CN=Test CA", "-addext",
                 "keyUsage=keyCertSign,cRLSign"});
    }

    platform::ChildResult run(std::vector<std::string> arguments, const std::string& input = {}) {
        return panelctl(service.endpoint(), std::move(arguments), input);
    }
    void good(std::vector<std::string> arguments, const std::string& input = {}) {
        const auto result = run(std::move(arguments), input);
        EXPECT_EQ(result.status, 0) << result.error;
    }
    json list(std::vector<std::string> arguments) {
        arguments.emplace_back("--json");
        return json::parse(run(std::move(arguments)).output);
    }

    std::string openssl(std::vector<std::string> arguments) {
        platform::ChildOptions options;
        options.arguments = {"openssl"};
        options.arguments.insert(options.arguments.end(), arguments.begin(), arguments.end());
        options.environment["FILE_PASSWORD"] = "päss";
        const auto result = platform::runChild(options, std::chrono::seconds(60));
        EXPECT_EQ(result.status, 0) << result.error;
        return result.output + result.error;
    }
    // A certificate with its key and authority in NAME.p12.
    void issue(const std::string& name, const std::string& subject) {
        openssl({"req", "-new", "-newkey", "rsa:2048", "-nodes", "-utf8", "-keyout", file(name + ".key"), "-out",
                 file(name + ".csr"), "-subj", subject});
        sign(name);
        openssl({"pkcs12", "-export", "-in", file(name + ".pem"), "-inkey", file(name + ".key"), "-certfile",
                 file("ca.pem"), "-name", "key of " + name, "-out", file(name + ".p12"), "-passout",
                 "env:FILE_PASSWORD"});
    }
    void sign(const std::string& name) {
        openssl({"x509", "-req", "-in", file(name + ".csr"), "-CA", file("ca.pem"), "-CAkey", file("ca.key"), "-days",
                 "20", "-out", file(name + ".pem")});
    }
    std::string file(const std::string& name) const { return folder.file(name); }

    TemporaryFolder folder;
    RunningService service;
};

TEST_F(CertificatesForReal, GoInWithTheirKeysAndComeOutUnchanged) {
    issue("gate", "/CN=Gate \x1B[31m Büro");
    EXPECT_EQ(run({"cert", "import", file("gate.p12")}).status, 63);
    EXPECT_EQ(run({"cert", "import", file("gate.p12"), "--password-stdin"}, "päss\n").status, 24)
        << "nobody is logged in";
    EXPECT_EQ(run({"cert", "import", file("gate.p12"), "--password-stdin", "--pin-stdin"}, "päss\nwrong\n").status, 20);
    good({"cert", "import", file("gate.p12"), "--password-stdin", "--pin-stdin"}, "päss\nuser-1\n");
    EXPECT_EQ(run({"token", "logout", "Office"}).status, 24) << "the PIN was for this one import";
    good({"token", "login", "Office", "--pin-stdin"}, "user-1\n");

    ASSERT_EQ(list({"cert", "list"}).size(), 2U) << "the authority came along";
    ASSERT_EQ(list({"cert", "list", "--with-key"}).size(), 1U);
    EXPECT_THAT(run({"cert", "list"}).output, HasSubstr("Gate \\x1B[31m Büro"));
    EXPECT_EQ(list({"cert", "chain", "gate"}).size(), 2U);
    EXPECT_EQ(run({"cert", "list", "--expiring", "30d"}).status, 61);
    const std::string uri = list({"cert", "show", "gate"})["uri"];
    EXPECT_THAT(uri, HasSubstr("object=key%20of%20gate;type=cert"));
    good({"cert", "verify", uri});
    good({"cert", "export", uri, "--format", "der", "--output", file("again.der")});
    EXPECT_EQ(openssl({"x509", "-in", file("again.der"), "-inform", "DER"}),
              openssl({"x509", "-in", file("gate.pem")}));
    EXPECT_EQ(run({"cert", "import", file("gate.pem"), "--no-chain"}).status, 62);
    good({"cert", "delete", "key of gate", "--yes"});
    EXPECT_EQ(run({"cert", "delete", "key of gate", "--yes"}).status, 10);
    good({"cert", "import", file("gate.pem")});
    EXPECT_EQ(list({"cert", "list", "--with-key"}).size(), 1U) << "its key was still there";
}

TEST_F(CertificatesForReal, AreRequestedAndTheAnswerFindsItsKey) {
    good({"token", "login", "Office", "--pin-stdin"}, "user-1\n");
    for (const char* key : {"rsa:2048", "ec:384"}) {
        const std::string name = std::string("site ") + key;
        good({"cert", "request", "--cn", name, "--c", "DE", "--key", key, "--san", "DNS:a.example", "--san",
              "IP:192.0.2.1", "--output", file(name + ".csr")});
        EXPECT_THAT(openssl({"req", "-in", file(name + ".csr"), "-verify", "-noout"}), HasSubstr("verify OK"));
        EXPECT_THAT(openssl({"req", "-in", file(name + ".csr"), "-noout", "-text"}),
                    HasSubstr("DNS:a.example, IP Address:192.0.2.1"));
        sign(name);
        good({"cert", "import", file(name + ".pem")});
    }
    EXPECT_EQ(list({"cert", "list", "--with-key"}).size(), 2U);
    EXPECT_EQ(run({"cert", "request", "--c", "DEUTSCHLAND", "--cn", "x"}).status, 12);
    EXPECT_EQ(run({"cert", "request", "--cn", "x", "--existing-key", "none"}).status, 10);
    good({"cert", "request", "--cn", "again", "--existing-key", "site ec:384", "--output", file("again.csr")});
    EXPECT_THAT(openssl({"req", "-in", file("again.csr"), "-verify", "-noout"}), HasSubstr("verify OK"));
}

TEST_F(CertificatesForReal, StandBesidePresharedKeysWhoseValuesAreNeverShown) {
    EXPECT_EQ(run({"psk", "create", "site", "--value-stdin"}, "k3y-value\n").status, 24);
    good({"token", "login", "Office", "--pin-stdin"}, "user-1\n");
    good({"psk", "create", "site", "--value-stdin"}, "k3y-value\n");
    EXPECT_NE(run({"psk", "create", "site", "--value-stdin"}, "other\n").status, 0) << "names are unique";
    EXPECT_EQ(list({"psk", "list"})[0]["name"], "site");
    good({"psk", "delete", "site", "--yes"});
    EXPECT_EQ(list({"psk", "list"}).size(), 0U);
    EXPECT_THAT(service.log(), Not(HasSubstr("k3y-value")));
}

} // namespace
