// SPDX-License-Identifier: MIT
//
// Tunnels of the whole service: with tokens, front ends, log-ins and log-outs.
#include "../support/memory_scan.h"
#include "../support/processes_posix.h"
#include "tunnels_fixture_posix.h"

namespace panelkitd {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

// After a log-out.
void expectNoTraceOf(const std::string& pin, RunningService& service) {
    std::vector<std::int64_t> processes = hostsOf(service.process().id());
    EXPECT_GE(processes.size(), 2U) << "a module and the IKE daemon";
    processes.push_back(service.process().id());
    for (const std::int64_t process : processes) {
        if (memoryCanBeScanned()) {
            EXPECT_EQ(occurrencesInMemory(process, pin), 0U) << runProgram("ps -o args= -p " + std::to_string(process));
        }
        EXPECT_FALSE(shownInProcessList(process, pin));
    }
    for (const auto& entry : std::filesystem::recursive_directory_iterator(service.state())) {
        if (!entry.is_regular_file()) continue;
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string all{std::istreambuf_iterator<char>(file), {}};
        EXPECT_EQ(all.find(pin), all.npos) << entry.path();
    }
    EXPECT_THAT(service.log(), testing::Not(HasSubstr(pin)));
}

TEST_F(AServiceWithTunnels, ProtectsTrafficFromTheLogInToTheLogOutAndAfterItWasKilled) {
    start();
    ASSERT_TRUE(listsTunnel("up")) << service_->log();
    EXPECT_TRUE(pings("10.9.0.1"));
    EXPECT_THAT(run({"policy", "show"}),
                testing::AllOf(HasSubstr("Details: the tunnel of section [office] to the gateway 192.168.8.2"),
                               HasSubstr("with the certificate \"CN=anna\""), testing::Not(HasSubstr("Diagnosis"))));
    platform::ChildOptions options;
    options.arguments = {builtProgram("panelctl"), "--endpoint", service_->endpoint(), "watch"};
    platform::ChildProcess watch(options);
    ASSERT_TRUE(becomesTrue([&] { return watch.errorSoFar().find("Watching") != std::string::npos; }));
    run({"tunnel", "down", "office"});
    EXPECT_TRUE(becomesTrue([&] {
        return watch.outputSoFar().find("to the gateway 192.168.8.2 is down: an administrator") != std::string::npos;
    })) << watch.outputSoFar();
    run({"tunnel", "up", "office"});
    ASSERT_TRUE(listsTunnel("up")) << service_->log();
    run({"token", "logout", "work"});
    EXPECT_NE(panelctl(service_->endpoint(), {"tunnel", "rekey", "office"}).status, 0);
    expectNoTraceOf(pin, *service_);

    service_->kill();
    EXPECT_FALSE(pings("10.8.0.1"));
    service_->start();
    EXPECT_TRUE(listsTunnel("down"));
    EXPECT_FALSE(pings("10.9.0.1"));
    EXPECT_THAT(run({"policy", "show"}), HasSubstr("nobody is logged in to the token"));
    logIn();
    ASSERT_TRUE(listsTunnel("up")) << service_->log();
    EXPECT_TRUE(pings("10.9.0.1"));
    EXPECT_THAT(gateway_->seen().plain, IsEmpty());
}

TEST_F(AServiceWithTunnels, UsesAPresharedKeyOfAToken) {
    start();
    const std::string file = service_->folder().file("partner.lsp");
    std::ofstream(file) << byKey;
    run({"psk", "create", "shared", "--token", "work", "--value-stdin"}, "open sesame\n");
    run({"policy", "source", "set", "--source", "SOURCE_FILE", "--file", file});
    run({"policy", "activate", "system"});
    ASSERT_TRUE(becomesTrue([&] { return pings("10.9.0.1"); })) << run({"tunnel", "list"}) << service_->log();
    EXPECT_THAT(gateway_->seen().plain, IsEmpty());
    EXPECT_THAT(service_->log(), testing::Not(HasSubstr("open sesame")));
}

} // namespace
} // namespace panelkitd
