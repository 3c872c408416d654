// SPDX-License-Identifier: MIT
//
// What ends panelctl watch on POSIX: signals, and a standard output that is no longer read.
#include "../support/panelctl.h"
#include "../support/test.h"

#include <testing/scripted_service.h>

#include <csignal>

using panelkit::testing::ScriptedService;

namespace {

platform::ChildOptions watchOf(const std::string& endpoint) {
    platform::ChildOptions options;
    options.arguments = {builtProgram("panelctl"), "--endpoint", endpoint, "watch"};
    return options;
}

TEST(PanelctlWatchOnPosix, EndsWellOnCtrlCAndOnTheRequestToTerminate) {
    ScriptedService service;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        platform::ChildProcess watch(watchOf(service.endpoint()));
        for (int i = 0; i < 1000 && watch.errorSoFar().empty(); ++i) std::this_thread::sleep_for(5ms);
        ::kill(static_cast<pid_t>(watch.id()), signal);
        const auto result = watch.wait(10s);
        EXPECT_EQ(result.ending, platform::Ending::exited) << signal;
        EXPECT_EQ(result.status, 0) << signal;
    }
}

// As under nohup.
TEST(PanelctlWatchOnPosix, IsNotEndedByASignalThatWasIgnoredBefore) {
    ScriptedService service;
    platform::ChildOptions options = watchOf(service.endpoint());
    options.arguments.insert(options.arguments.begin(), {"/bin/sh", "-c", "trap '' HUP; exec \"$@\"", "sh"});
    platform::ChildProcess watch(options);
    for (int i = 0; i < 1000 && watch.errorSoFar().empty(); ++i) std::this_thread::sleep_for(5ms);
    ::kill(static_cast<pid_t>(watch.id()), SIGHUP);
    for (int i = 0; i < 200 && !watch.ended(); ++i) std::this_thread::sleep_for(5ms);
    EXPECT_FALSE(watch.ended());
    ::kill(static_cast<pid_t>(watch.id()), SIGTERM);
    EXPECT_EQ(watch.wait(10s).status, 0);
}

// head ends after the first line; there are no further events, and watch must end all the same.
TEST(PanelctlWatchOnPosix, EndsWhenNobodyReadsItAnyMore) {
    const std::string endpoint = panelkit::testing::uniqueEndpoint();
    platform::ChildOptions options;
    options.arguments = {"/bin/bash", "-c",
                         "set -o pipefail; '" + builtProgram("panelctl") + "' --endpoint '" + endpoint +
                             "' watch | head -n 1"};
    platform::ChildProcess pipeline(options);
    for (int i = 0; i < 1000 && pipeline.errorSoFar().empty(); ++i) std::this_thread::sleep_for(5ms);
    const ScriptedService service(endpoint);
    const auto result = pipeline.wait(20s);
    EXPECT_EQ(result.ending, platform::Ending::exited);
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_THAT(result.output, HasSubstr("The service is running."));
}

} // namespace
