// SPDX-License-Identifier: MIT
//
// A service whose state can't be stored, because its folder is gone or the disk is full: each command that changes
// something is refused and audited, and the service goes on with what it had.
#include "../support/processes_posix.h"
#include "../support/running_service.h"
#include "../support/service_fixture.h"
#include "../support/small_disk_posix.h"
#include "../support/user_folder.h"

#include <service/state/state_file.h>

#include <panelkit/lparams/sections/sections.h>
#include <panelkit/lsp/lsp_controller.h>
#include <panelkit/tokens/tokens_controller.h>
#include <platform/system/files.h>
#include <vocabulary/policy.h>
#include <vocabulary/refusals.h>
#include <vocabulary/tokens.h>

#include <fcntl.h>
#include <unistd.h>

using vocabulary::Refused;

namespace {

namespace fs = std::filesystem;
namespace providerField = vocabulary::provider;

const std::string modulePath = "/usr/lib/x86_64-linux-gnu/pkcs11/opensc-pkcs11.so";
const std::string otherModule = builtProgram(PANELKIT_TEST_TOKEN_FILE);

Refused refusal() { return static_cast<Refused>(bridge::lastFailure().detail); }

bool load(VpnTokensController& tokens, const std::string& path, const std::string& name) {
    PKCS11::ProviderInfo info;
    info.*providerField::path = path;
    info.*providerField::name = name;
    info.*providerField::isRemembered = true;
    return tokens.ProviderLoad(info);
}

PKCS11::ProviderInfo named(const std::string& name) {
    PKCS11::ProviderInfo info;
    info.*providerField::name = name;
    return info;
}

// A front end, and a service with something of everything.
class Host {
public:
    Host() {
        connect();
        bool applied = false;
        ready = load(tokens, modulePath, "opensc") && policy.cmdSetSettings(settings(file("system.lsp")), applied) &&
                policy.cmdSetUserSettings("", settings(file("user.lsp")), applied) &&
                policy.cmdActivateDDP("drop-all") && commit(8080);
        platform::replaceFile(file("system.lsp"), "title = System\nversion = 1\n", true);
        platform::replaceFile(file("user.lsp"), "title = User\nversion = 1\n", true);
    }
    ~Host() { closePooledSessions(); }

    static LSPcmd::LSPsettings_t settings(const std::string& path) {
        LSPcmd::LSPsettings_t settings;
        settings.Source = 1;
        settings.File = path;
        return settings;
    }
    static bool commit(std::uint16_t port) {
        LPARAMS::Client::PROXY proxy;
        proxy.HTTP_LISTEN_PORT.value = port;
        return proxy.save() && LPARAMS::Client::writeToDisk();
    }
    std::string file(const std::string& name) const { return files.file(name); }

    // All that the commands could have changed.
    std::string memory() {
        std::vector<PKCS11::ProviderInfo> providers;
        LSPinfo_t info;
        LSPrequest_t required;
        std::string text, all;
        LSPrequest_t::InfoType type{};
        LSPcmd::LSPsettings_t system, user;
        tokens.EnumProviders(providers);
        for (const auto& provider : providers) all += provider.*providerField::name + " ";
        policy.cmdGetPolicyInfo(info, required, &text, &type, false);
        policy.cmdGetSettings(&system);
        policy.cmdGetUserSettings("", &user);
        return all + "; " + text + "; " + system.File + "; " + user.File + "; " +
               std::to_string(hostsOf(service.process().id()).size());
    }
    UserFolder userFolder;
    TemporaryFolder files;
    mutable RunningService service{{"--allow-module", otherModule}};
    VpnTokensController tokens;
    LSPController policy;
    bool ready = false;

private:
    void connect() const {
        closePooledSessions();
        CommandSender::Instance().SetEndpoint(service.endpoint());
    }
};

struct Row {
    const char* command;            // as the audit line names it
    bool (*carriedOut)(Host& host); // what the front end is told
};

// clang-format off
const Row rows[] = {
    {"ProviderLoad",    [](Host& host) { return load(host.tokens, otherModule, "other"); }},
    {"ProviderUnload",  [](Host& host) { return host.tokens.ProviderUnload(named("opensc")); }},
    {"ProviderLevelUp", [](Host& host) { return host.tokens.ProviderLevelUp(named("opensc")); }},
    {"ActivateDDP",     [](Host& host) { return host.policy.cmdActivateDDP("pass-all"); }},
    {"ActivateSystem",  [](Host& host) { std::string why; return host.policy.cmdActivateSystem(why, ""); }},
    {"ActivateUser",    [](Host& host) { std::string why; return host.policy.cmdActivateUser("", why, ""); }},
    {"ActivateCurrent", [](Host& host) { std::string why; return host.policy.cmdActivateCurrent(why, "again"); }},
    {"SetSettings",     [](Host& host) { bool done = false; return host.policy.cmdSetSettings(Host::settings("/other.lsp"), done) && done; }},
    {"SetUserSettings", [](Host& host) { bool done = false; return host.policy.cmdSetUserSettings("", Host::settings("/other.lsp"), done) && done; }},
    {"CommitGroups",    [](Host&) { return Host::commit(9090); }},
};
// clang-format on

// Runs all rows; returns what is wrong.
std::string tryAll(Host& host) {
    std::string wrong;
    for (const Row& row : rows) {
        const std::string before = host.memory();
        if (row.carriedOut(host)) wrong += std::string(row.command) + " was carried out\n";
        if (bridge::lastFailure().code != bridge::FailureCode::none && refusal() != Refused::notStored) {
            wrong +=
                std::string(row.command) + " was refused for another reason: " + bridge::lastFailure().text() + "\n";
        }
        const std::string after = host.memory();
        if (after != before) wrong += std::string(row.command) + " changed " + before + " to " + after + "\n";
    }
    return wrong;
}

std::string notAudited(Host& host) {
    std::string missing;
    const std::string log = host.service.terminate().error;
    for (const Row& row : rows) {
        bool found = false;
        std::istringstream lines(log);
        for (std::string line; std::getline(lines, line);) {
            found |= line.find(row.command) != std::string::npos && line.find("audit: ") != std::string::npos &&
                     (line.find(": refused") != std::string::npos || line.find(": failed") != std::string::npos);
        }
        if (!found) missing += std::string(row.command) + " is not audited\n";
    }
    return missing;
}

// While `broken` lasts, nothing changes; afterwards and after a restart everything is as before.
std::string goThrough(Host& host, const std::function<void()>& breakIt, const std::function<void()>& mendIt) {
    if (!host.ready) return "not ready: " + host.service.log();
    const std::string before = host.memory();
    breakIt();
    std::string wrong = tryAll(host);
    mendIt();
    wrong += notAudited(host);
    host.service.start();
    closePooledSessions();
    if (host.memory() != before) wrong += "after a restart: " + before + " became " + host.memory() + "\n";
    LPARAMS::Client::PROXY proxy;
    if (!proxy.load() || proxy.HTTP_LISTEN_PORT.value != 8080) wrong += "the configuration has changed\n";
    return wrong;
}

TEST(AServiceWhoseStateFolderIsGone, ChangesNothingAndAuditsIt) {
    Host host;
    const std::string state = host.service.state();
    EXPECT_EQ(goThrough(
                  host, [&] { fs::rename(state, state + "-away"); }, [&] { fs::rename(state + "-away", state); }),
              "");
}

// Root may read everything, so this process is another account for a while.
TEST(AStateFileWithoutPermission, IsKeptAndChangesAreRefused) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can become another account";
    constexpr uid_t nobody = 65534;
    const TemporaryFolder folder;
    const std::string path = folder.file("state/demo.json"), content = R"({"format": 1})";
    fs::create_directory(folder.file("state"));
    fs::permissions(folder.file("state"), fs::perms(0700));
    platform::replaceOwnFile(path, content);
    ASSERT_EQ(::chown(folder.file("state").c_str(), nobody, nobody), 0);
    ASSERT_EQ(::seteuid(nobody), 0);
    const panelkitd::StateFolder state(folder.file("state"));
    panelkitd::StateFile file(state, {.name = "demo.json", .check = [](const std::string&) {}});
    EXPECT_EQ(file.load(), "");
    EXPECT_THAT(file.problem(), testing::HasSubstr("ermission denied"));
    EXPECT_THROW(file.write(content), panelkitd::RefusedError);
    ASSERT_EQ(::seteuid(0), 0);
    EXPECT_EQ(platform::readOwnFile(path, 100), content);
}

TEST(AServiceOnAFullDisk, ChangesNothingAndAuditsIt) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can mount a file system";
    const std::string wrong = onASmallDisk([](const auto& fill, const auto& empty) {
        Host host;
        return goThrough(host, fill, empty);
    });
    if (wrong == noDisk) GTEST_SKIP() << wrong;
    EXPECT_EQ(wrong, "");
}

TEST(AServiceOnAFullDisk, StartsWithWhatIsThere) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can mount a file system";
    const std::string wrong = onASmallDisk([](const auto& fill, const auto& empty) {
        RunningService service;
        service.terminate();
        fill();
        fs::remove(service.state() + "/softhsm/softhsm2.conf"); // it can't be written again either
        service.start();
        service.terminate();
        empty();
        return "";
    });
    if (wrong == noDisk) GTEST_SKIP() << wrong;
    EXPECT_EQ(wrong, "");
}

} // namespace
