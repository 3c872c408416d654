// SPDX-License-Identifier: MIT
//
// Events that must not end the service: clients that claim or send much, modules that hang when it must end,
// no more threads. POSIX only.
#include "../platform/bridge/raw_client.h"
#include "../support/processes_posix.h"
#include "steered_token.h"
#include "with_service.h"

#include <panelkit/bridge/command_stream.h>
#include <panelkit/lsp/lsp_records.h>

#include <sys/resource.h>
#include <unistd.h>

namespace {

class TheServiceUnderLoad : public WithService {
protected:
    TheServiceUnderLoad() : WithService({"--embedded-module", "", "--stop-grace", "2"}) {}
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
        std::vector<raw::Client> clients;
        for (int i = 0; i < 6; ++i) {
            clients.push_back(raw::connected(service.endpoint()));
            raw::verdictFor(*clients.back(), i % 2 == 0 ? bridge::Role::receiver : bridge::Role::commandSession);
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
    const auto halfRequest = raw::greeted(service.endpoint());
    raw::request(*halfRequest, 0, 100, "");
    const auto halfHello = raw::connected(service.endpoint());
    halfHello->write("hel", {}, {5000});
    EXPECT_TRUE(send(panelkit::Command::EnumProviders, ""));
    const platform::ChildResult result = service.terminate();
    EXPECT_EQ(result.ending, platform::Ending::exited);
    EXPECT_EQ(result.status, 0) << result.error;
}

class AModuleThatHangs : public Steered<WithService>, public testing::WithParamInterface<const char*> {
protected:
    AModuleThatHangs() : Steered({"--embedded-module", "", "--stop-grace", "1"}) {}
};

TEST_P(AModuleThatHangs, DoesNotKeepTheServiceFromEnding) {
    load();
    const TokenInfo office = token();
    control.recordCalls();
    control.hang(GetParam());
    std::thread stuck([&] {
        VpnTokensController other;
        other.TokenLogin(office, "user-1", false, nullptr);
        std::vector<TokenInfo> ignored;
        other.EnumProviderTokens(nullptr, ignored);
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

} // namespace
