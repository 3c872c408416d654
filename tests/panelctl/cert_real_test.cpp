// SPDX-License-Identifier: MIT
//
// An administrator's certificates: panelctl, panelkitd, SoftHSM2, and OpenSSL as an authority and as a judge.
#include "../support/panelctl_fixture.h"

namespace {

class CertificatesForReal : public PanelctlForReal {
protected:
    CertificatesForReal() {
        openssl({"req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-keyout",
                 file("ca.key"), "-out", file("ca.pem"), "-days", "3000", "-subj", "/CN=Test CA", "-addext",
                 "keyUsage=keyCertSign,cRLSign"});
    }
    // A certificate with its key and authority in NAME.p12.
    void issue(const std::string& name, const std::string& subject) {
        openssl({"req", "-new", "-newkey", "rsa:2048", "-nodes", "-utf8", "-keyout", file(name + ".key"), "-out",
                 file(name + ".csr"), "-subj", subject});
        openssl({"x509", "-req", "-in", file(name + ".csr"), "-CA", file("ca.pem"), "-CAkey", file("ca.key"), "-days",
                 "20", "-out", file(name + ".pem")});
        openssl({"pkcs12", "-export", "-in", file(name + ".pem"), "-inkey", file(name + ".key"), "-certfile",
                 file("ca.pem"), "-name", "key of " + name, "-out", file(name + ".p12"), "-passout",
                 "env:FILE_PASSWORD"});
    }
};

TEST_F(CertificatesForReal, GoInWithTheirKeysAndComeOutUnchanged) {
    issue("gate", "/CN=Gate \x1B[31m Büro");
    EXPECT_EQ(run({"cert", "import", file("gate.p12")}).status, 63);
    EXPECT_EQ(run({"cert", "import", file("gate.p12"), "--password-stdin"}, "päss\n").status, 24)
        << "nobody is logged in";
    EXPECT_EQ(run({"cert", "import", file("gate.p12"), "--password-stdin", "--pin-stdin"}, "päss\nwrong\n").status, 20);
    good({"cert", "import", file("gate.p12"), "--password-stdin", "--pin-stdin"}, "päss\nuser-1\n");
    EXPECT_EQ(run({"token", "logout", "Office"}).status, 24) << "the PIN was for this one import";
    login();

    ASSERT_EQ(json({"cert", "list"}).size(), 2U) << "the authority came along";
    ASSERT_EQ(json({"cert", "list", "--with-key"}).size(), 1U);
    EXPECT_THAT(run({"cert", "list"}).output, HasSubstr("Gate \\x1B[31m Büro"));
    EXPECT_EQ(json({"cert", "chain", "gate"}).size(), 2U);
    EXPECT_EQ(run({"cert", "list", "--expiring", "30d"}).status, 61);
    const std::string uri = json({"cert", "show", "gate"})["uri"];
    EXPECT_THAT(uri, HasSubstr("object=key%20of%20gate;type=cert"));
    good({"cert", "verify", uri});
    good({"cert", "export", uri, "--format", "der", "--output", file("again.der")});
    EXPECT_EQ(openssl({"x509", "-in", file("again.der"), "-inform", "DER"}),
              openssl({"x509", "-in", file("gate.pem")}));
    EXPECT_EQ(run({"cert", "import", file("gate.pem"), "--no-chain"}).status, 62);
    good({"cert", "delete", "key of gate", "--yes"});
    EXPECT_EQ(run({"cert", "delete", "key of gate", "--yes"}).status, 10);
    good({"cert", "import", file("gate.pem")});
    EXPECT_EQ(json({"cert", "list", "--with-key"}).size(), 1U) << "its key was still there";
}

} // namespace
