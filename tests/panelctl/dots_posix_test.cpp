// SPDX-License-Identifier: MIT
//
// The dots of long commands: on a terminal, one a second, and nowhere else.
#include "../support/panelctl.h"
#include "../support/pseudo_terminal_posix.h"

#include <testing/scripted_service.h>

#include <gmock/gmock.h>

using panelkit::Command;
using panelkit::testing::Reaction;
using panelkit::testing::ScriptedService;
using testing::HasSubstr;
using testing::Not;
using namespace std::chrono_literals;

namespace {

class TheDots : public testing::Test {
protected:
    TheDots() {
        service.on(Command::EnumProviderTokens, Reaction::reply(std::string(4, '\0')));
        service.on(Command::TokensReloadAll, Reaction::reply("").after(2500ms));
    }
    std::string onTerminal(const std::vector<std::string>& arguments) {
        std::vector<std::string> command{builtProgram("panelctl"), "--endpoint", service.endpoint()};
        command.insert(command.end(), arguments.begin(), arguments.end());
        PseudoTerminal terminal;
        terminal.run(command, {});
        EXPECT_EQ(terminal.waitForStatus(), 0);
        return terminal.screen();
    }
    ScriptedService service;
};

TEST_F(TheDots, AreDrawnOnATerminalEachAtItsTime) {
    EXPECT_THAT(onTerminal({"token", "reload"}), HasSubstr("..\r\nAll providers have been reloaded"));
}

TEST_F(TheDots, AreDrawnNowhereElse) {
    EXPECT_THAT(onTerminal({"--json", "token", "reload"}), Not(HasSubstr("..")));
    const auto piped = panelctl(service.endpoint(), {"token", "reload"});
    EXPECT_EQ(piped.status, 0);
    EXPECT_EQ(piped.error, "");
    EXPECT_THAT(piped.output, Not(HasSubstr("..")));
}

} // namespace
