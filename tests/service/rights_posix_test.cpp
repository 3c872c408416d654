// SPDX-License-Identifier: MIT
//
// Who may give which command, and which commands have a line in the audit log: the whole table of commands, for every
// kind of account. Needs root, to become these accounts.
#include "../support/as_user_posix.h"
#include "../support/bytes.h"
#include "../support/other_user_posix.h"
#include "../support/processes_posix.h"
#include "with_service.h"

#include <panelkit/certs/cert_records.h>
#include <platform/bridge/failure.h>

#include <sys/stat.h>

namespace {

const std::set<Command> forAdministrators{
    Command::TokenInitialize,        Command::ProviderLoad,       Command::ProviderUnload,
    Command::ProviderLevelUp,        Command::TokensReloadAll,    Command::DeleteCertificate,
    Command::ImportCertificate,      Command::ImportCRL,          Command::MakeCertRequest,
    Command::CreatePresharedKey,     Command::DeletePresharedKey, Command::DeleteCRL,
    Command::CertsReloadAll,         Command::SetSettings,        Command::ActivateDDP,
    Command::ActivateSystem,         Command::WriteGroup,         Command::ReadGroup,
    Command::CommitGroups,           Command::GenerateKey,        Command::DeleteKey,
    Command::DeleteCertAndKey,       Command::GetUncommitted,     Command::RevertSettings,
    Command::MakeCertRequestWithPin, Command::ActOnTunnel,        Command::ImportCertificates,
};
// Those that change nothing, so that they are not audited; and those of users that do.
const std::set<Command> readByAdministrators{Command::ReadGroup, Command::GetUncommitted};
const std::set<Command> actsOfUsers{
    Command::TokenLogin,        Command::TokenLogout,     Command::TokenChangePassword, Command::InitTokenRNG,
    Command::ExportCertificate, Command::ActivateCurrent, Command::ActivateUser,        Command::SetUserSettings,
};

struct Kind {
    const char* name;
    const char* user;
    std::vector<std::string> groups;
    bool admitted, administers;
};

const Kind kinds[] = {
    {"a stranger", "daemon", {}, false, false},
    {"a user", "nobody", {"games"}, true, false},
    {"another user", "daemon", {"games"}, true, false},
    {"an administrator", "nobody", {"staff"}, true, true},
    {"an administrator who is a user too", "daemon", {"games", "staff"}, true, true},
    {"root", "root", {}, true, true},
};

class TheTableOfCommands : public WithService {
protected:
    TheTableOfCommands() : WithService({"--embedded-module", "", "--users-group", "games", "--admin-group", "staff"}) {
        ::chmod(std::filesystem::path(service.endpoint()).parent_path().c_str(), 0755);
    }
    void SetUp() override {
        if (!As::canBecome()) GTEST_SKIP() << "only root can become somebody else";
    }
    static bool isDenied(const panelkit::CommandRow& row, const std::string& payload = {}) {
        return !send(row, payload) && bridge::lastFailure().code == bridge::FailureCode::accessDenied;
    }
};

TEST_F(TheTableOfCommands, IsOpenToEveryKindOfAccountAsFarAsItMay) {
    for (const Kind& kind : kinds) {
        const As somebody(kind.user, kind.groups);
        for (std::size_t i = 0; i < panelkit::commandTable.size(); ++i) {
            const panelkit::CommandRow& row = panelkit::commandTable[i];
            const bool may = kind.admitted && (kind.administers || !forAdministrators.contains(row.command));
            EXPECT_EQ(!isDenied(row), may) << row.name << " for " << kind.name;
        }
    }
    const std::string log = service.terminate().error;
    const auto holds = [&](const std::string& line) { return log.find("audit: " + line) != std::string::npos; };
    for (const panelkit::CommandRow& row : panelkit::commandTable) {
        const std::string name(row.name);
        const bool administers = forAdministrators.contains(row.command);
        const bool acts =
            actsOfUsers.contains(row.command) || (administers && !readByAdministrators.contains(row.command));
        EXPECT_EQ(holds("root " + name + ": ") || holds("root " + name + " "), acts) << name;
        EXPECT_EQ(holds("nobody " + name + ": denied"), administers) << name;
    }
}

// The command is open to users, this use of it is not.
TEST_F(TheTableOfCommands, KeepsPrivateKeysFromUsers) {
    const auto request = [](bool withKey) {
        return encoded(PKCS11::TokenInfo(), CertInfo(), std::uint32_t{4}, std::string("password"), false, withKey);
    };
    const panelkit::CommandRow& row = panelkit::commandRow(Command::ExportCertificate);
    {
        const As user("nobody");
        EXPECT_TRUE(isDenied(row, request(true)));
        EXPECT_FALSE(isDenied(row, request(false)));
    }
    const As administrator("nobody", {"staff"});
    EXPECT_FALSE(isDenied(row, request(true)));
    EXPECT_THAT(service.terminate().error, HasSubstr("with its private key: refused ("));
}

// Other processes of that account must not read PINs.
TEST(AServiceOfAnOrdinaryAccount, HasMemoryThatNobodyButRootReads) {
    if (!As::canBecome()) GTEST_SKIP() << "only root can become somebody else";
    const TemporaryFolder folder;
    const std::string own = folder.file("own");
    std::filesystem::create_directory(own);
    ASSERT_EQ(::chown(own.c_str(), userNumber("nobody"), 0), 0);
    const OtherUser nobody(own + "/socket");
    platform::ChildProcess service(nobody.serviceIn(own, "nobody"));
    ASSERT_TRUE(hasSaid(service, " serves ")) << service.errorSoFar();
    std::vector<std::int64_t> processes = hostsOf(service.id());
    EXPECT_EQ(processes.size(), 1U) << "the host of its module";
    processes.push_back(service.id());
    for (const std::int64_t process : processes) {
        std::string status;
        std::getline(std::ifstream(folderOf(process) / "status"), status, '\0');
        EXPECT_THAT(status, HasSubstr("\nUid:\t65534\t"));
        struct stat owner {};
        ASSERT_EQ(::stat((folderOf(process) / "mem").c_str(), &owner), 0);
        EXPECT_EQ(owner.st_uid, 0U) << status;
    }
    service.terminate();
    service.wait(std::chrono::seconds(30));
}

} // namespace
