// SPDX-License-Identifier: MIT
//
// Who may use the module for additions: users read what they can read elsewhere, administrators act.
#include "../support/other_user_posix.h"
#include "certs_fixture.h"

#include <gmock/gmock.h>

namespace {

class TheModuleForAdditions : public WithCertificates {
protected:
    TheModuleForAdditions() : WithCertificates({"--users-group", "games", "--admin-group", "staff"}) {}
    void SetUp() override {
        if (!OtherUser::canBecome()) GTEST_SKIP() << "only root can become somebody else";
        initialize();
        const Identity root = makeAuthority("Root");
        ASSERT_EQ(importFile(pkcs12(makeUser("gate", root), {}, "secret", 2048, "gate"), "secret",
                             vocabulary::CertImport::withPrivateKey),
                  vocabulary::ImportCert::imported);
        closePooledSessions();
    }
};

TEST_F(TheModuleForAdditions, LetsUsersReadAndAdministratorsAct) {
    const OtherUser other(service.endpoint());
    constexpr int denied = 4;
    const struct {
        std::vector<std::string> arguments;
        int asUser;
    } rows[] = {
        {{"token", "states"}, 0},
        {{"key", "list"}, 0},
        {{"key", "show", "gate", "--pem"}, 0},
        {{"cert", "show", "pkcs11:object=gate"}, 0}, // by its label
        {{"key", "generate", "new", "--token", "Office", "--key", "ec:256"}, denied},
        {{"cert", "delete", "gate", "--with-key", "--yes"}, denied},
        {{"key", "delete", "new", "--yes"}, denied},
        {{"config", "pending"}, denied},
        {{"config", "revert", "--all"}, denied},
    };
    for (const auto& [arguments, asUser] : rows) {
        std::string text;
        for (const std::string& word : arguments) text += word + ' ';
        EXPECT_EQ(other.run("nobody", "--groups=games", arguments).status, asUser) << text;
        const auto asAdministrator = other.run("nobody", "--groups=games,staff", arguments);
        EXPECT_EQ(asAdministrator.status, 0) << text << asAdministrator.error;
    }
    closePooledSessions();
    EXPECT_TRUE(list().empty());
}

} // namespace
