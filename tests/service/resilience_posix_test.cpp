// SPDX-License-Identifier: MIT
//
// Events that must not end the service: clients that claim or send much, modules that hang when it must end, a full
// disk, no more threads. POSIX only.
#include <panelkit/bridge/command_stream.h>
#include <panelkit/tokens/tokens_controller.h>

#include "../support/running_service.h"
#include "../support/service_fixture.h"

#include <panelkit/lsp/lsp_records.h>
#include <platform/bridge/frame.h>
#include <platform/bridge/messages.h>
#include <testing/token_module_control.h>
#include <vocabulary/refusals.h>
#include <vocabulary/tokens.h>

#include <gmock/gmock.h>

#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <thread>

using panelkit::testing::TokenModuleControl;
using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;
using testing::HasSubstr;
using vocabulary::Refused;
using namespace std::chrono_literals;

namespace {

// A number of /proc/PID/status, in bytes.
std::uint64_t memoryOf(std::int64_t process, const std::string& what) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string name; status >> name;) {
        std::uint64_t kibibytes = 0;
        if (name == what + ":" && status >> kibibytes) return kibibytes << 10;
    }
    return 0;
}

class TheServiceUnderLoad : public testing::Test {
protected:
    TheServiceUnderLoad() : service({"--embedded-module", "", "--stop-grace", "2"}) {
        closePooledSessions();
        CommandSender::Instance().SetEndpoint(service.endpoint());
    }
    ~TheServiceUnderLoad() override { closePooledSessions(); }

    static bool send(panelkit::Command command, const std::string& payload) {
        const panelkit::CommandRow& row = panelkit::commandRow(command);
        return SessionsPool::GetSession(row.session)
            ->__SendCommand(row.module, static_cast<long>(row.code), payload.data(),
                            static_cast<unsigned>(payload.size()), nullptr);
    }
    std::unique_ptr<bridge::Channel> greeted(bridge::Role role) const {
        std::unique_ptr<bridge::Channel> channel;
        bridge::Channel::connect(service.endpoint(), bridge::after(5000), channel);
        if (!channel) return nullptr;
        writeFrame(*channel, {.kind = bridge::FrameKind::hello}, encode(bridge::Hello{1, role, "raw"}), {5000});
        bridge::FrameReader reader(*channel);
        bridge::FrameHeader welcome;
        std::string body;
        if (reader.readHeader(welcome, bridge::after(5000), {5000}) == bridge::FrameStatus::done) {
            reader.readBody(welcome, body, bridge::helloLimit, {5000});
        }
        return channel;
    }

    RunningService service;
};

// ---- memory

TEST_F(TheServiceUnderLoad, TakesNoMemoryForWhatARequestClaims) {
    std::string claims;
    CommandStreamOut(claims).append(std::string(), LSPcmd::LSPsettings_t());
    claims.resize(claims.size() - 4);
    constexpr std::uint32_t size = 8U << 20; // in each element of the list at least twelve bytes
    for (const std::uint32_t count : {size, size / 12}) {
        std::string request = claims;
        CommandStreamOut(request) << count;
        request.append(size, '\0');
        const std::uint64_t before = memoryOf(service.process().id(), "VmHWM");
        EXPECT_FALSE(send(panelkit::Command::SetUserSettings, request));
        EXPECT_LT(memoryOf(service.process().id(), "VmHWM"), before + (40U << 20)) << count;
    }
}

// ---- threads

TEST_F(TheServiceUnderLoad, OutlivesAShortageOfThreads) {
    const auto process = static_cast<pid_t>(service.process().id());
    if (memoryOf(process, "VmSize") > std::uint64_t(1) << 40) GTEST_SKIP() << "a sanitizer needs all addresses";
    for (int room = 0; room < 10; ++room) {
        // A thread's stack takes a little more than 8 MiB of addresses.
        const rlimit tight{memoryOf(process, "VmSize") + (static_cast<std::uint64_t>(room) * 3U << 20), RLIM_INFINITY};
        ASSERT_EQ(::prlimit(process, RLIMIT_AS, &tight, nullptr), 0);
        std::vector<std::unique_ptr<bridge::Channel>> clients;
        for (int i = 0; i < 6; ++i) {
            clients.push_back(greeted(i % 2 == 0 ? bridge::Role::receiver : bridge::Role::commandSession));
        }
        std::this_thread::sleep_for(20ms);
        const rlimit wide{RLIM_INFINITY, RLIM_INFINITY};
        ASSERT_EQ(::prlimit(process, RLIMIT_AS, &wide, nullptr), 0);
    }
    closePooledSessions();
    EXPECT_TRUE(send(panelkit::Command::EnumProviders, "")) << bridge::lastFailure().text() << service.log();
}

// ---- ending

TEST_F(TheServiceUnderLoad, EndsInGoodOrderWhileClientsAreHalfway) {
    const auto halfRequest = greeted(bridge::Role::commandSession);
    const auto bytes = bridge::encodeFrameHeader({100, bridge::FrameKind::request, 6, 0, 1});
    halfRequest->write({bytes.data(), bytes.size()}, {}, {5000});
    std::unique_ptr<bridge::Channel> halfHello;
    bridge::Channel::connect(service.endpoint(), bridge::after(5000), halfHello);
    halfHello->write("hel", {}, {5000});
    EXPECT_TRUE(send(panelkit::Command::EnumProviders, ""));
    const platform::ChildResult result = service.terminate();
    EXPECT_EQ(result.ending, platform::Ending::exited);
    EXPECT_EQ(result.status, 0) << result.error;
}

class AModuleThatHangs : public testing::TestWithParam<const char*> {
protected:
    AModuleThatHangs() {
        control.createToken("office", {.label = "Office", .userPin = "1234"});
        control.insert("reader", "office");
        closePooledSessions();
    }
    ~AModuleThatHangs() override { closePooledSessions(); }
    TokenModuleControl control;
};

TEST_P(AModuleThatHangs, DoesNotKeepTheServiceFromEnding) {
    const std::string module = builtProgram(PANELKIT_TEST_TOKEN_FILE);
    RunningService service({"--embedded-module", "", "--allow-module", module, "--stop-grace", "1"},
                           {{"PANELKIT_TEST_TOKEN_DIR", control.folder()}});
    CommandSender::Instance().SetEndpoint(service.endpoint());
    VpnTokensController controller;
    ProviderInfo card;
    card.*vocabulary::provider::path = module;
    ASSERT_TRUE(controller.ProviderLoad(card)) << bridge::lastFailure().text();
    std::vector<TokenInfo> tokens;
    ASSERT_TRUE(controller.EnumProviderTokens(nullptr, tokens));
    ASSERT_EQ(tokens.size(), 1U);
    control.recordCalls();
    control.hang(GetParam());
    std::thread stuck([&] {
        VpnTokensController other;
        other.TokenLogin(tokens[0], "1234", false, nullptr);
        std::vector<TokenInfo> listed;
        other.EnumProviderTokens(nullptr, listed);
    });
    if (std::string(GetParam()) == "C_Finalize")
        stuck.join(); // it hangs only until the service ends
    else
        EXPECT_TRUE(control.waitForCalls(GetParam(), 1));
    const platform::ChildResult result = service.terminate();
    EXPECT_EQ(result.ending, platform::Ending::exited) << result.error;
    EXPECT_EQ(result.status, 0) << result.error;
    if (stuck.joinable()) stuck.join();
}

INSTANTIATE_TEST_SUITE_P(InAFunction, AModuleThatHangs,
                         testing::Values("C_Login", "C_GetTokenInfo", "C_GetSlotList", "C_Finalize"));

// ---- a full disk

// Runs `work` in a child process whose state folder is on a small file system of its own; returns the child's status.
template <class Work>
int onASmallDisk(const std::string& folder, Work&& work) {
    const pid_t child = ::fork();
    if (child == 0) {
        const bool mounted = ::unshare(CLONE_NEWNS) == 0 &&
                             ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                             ::mount("none", folder.c_str(), "tmpfs", 0, "size=256k,mode=0700") == 0;
        ::_exit(mounted ? work() : 77);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Starts the service, waits until it serves, and returns whether it did.
bool serves(const std::string& endpoint, const std::string& state) {
    platform::ChildOptions options;
    options.arguments = {builtProgram("panelkitd"), "--endpoint", endpoint, "--state", state};
    platform::ChildProcess service(options);
    for (int i = 0; i < 1000 && !service.ended(); ++i) {
        if (service.errorSoFar().find(" serves ") != std::string::npos) return true;
        std::this_thread::sleep_for(10ms);
    }
    return false;
}

TEST(TheServiceOnAFullDisk, StartsWithWhatIsThere) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can mount a file system";
    const TemporaryFolder folder;
    const std::string state = folder.file("state");
    std::filesystem::create_directory(state);
    const std::string endpoint = panelkit::testing::uniqueEndpoint();
    const int status = onASmallDisk(state, [&] {
        if (!serves(endpoint, state)) return 1;
        std::ofstream filler(state + "/filler", std::ios::binary);
        while (filler << std::string(1024, 'x') << std::flush) {}
        std::filesystem::remove(state + "/softhsm/softhsm2.conf"); // it can't be written again either
        return serves(endpoint, state) ? 0 : 2;
    });
    if (status == 77) GTEST_SKIP() << "this system lets nobody mount";
    EXPECT_EQ(status, 0) << "1: it did not start on the empty disk; 2: not on the full one";
}

} // namespace
