// SPDX-License-Identifier: MIT
//
// Real events in panelkitd, as shown to two administrators, in English and in Russian.
#include "../support/panelctl.h"
#include "../support/running_service.h"

#include <testing/token_module_control.h>

#include <gmock/gmock.h>

#include <chrono>
#include <memory>
#include <thread>

using namespace std::chrono_literals;
using panelkit::testing::TokenModuleControl;
using testing::HasSubstr;

namespace {

const std::string module = builtProgram(PANELKIT_TEST_TOKEN_FILE);

class WatchingLive : public testing::Test {
protected:
    WatchingLive() {
        control.createToken("office", {.label = "Office", .soPin = "so-secret", .userPin = "1234"});
        control.addSlot("reader");
        service = std::make_unique<RunningService>(
            std::vector<std::string>{"--embedded-module", "", "--allow-module", module, "--token-poll", "1"},
            std::map<std::string, std::optional<std::string>>{{"PANELKIT_TEST_TOKEN_DIR", control.folder()}});
        act({"provider", "load", module, "--name", "card"});
        english = watch("en");
        russian = watch("ru");
        waitFor([this] { return !english->errorSoFar().empty() && !russian->errorSoFar().empty(); });
    }

    void act(const std::vector<std::string>& arguments, const std::string& input = {}) const {
        const platform::ChildResult result = panelctl(service->endpoint(), arguments, input);
        EXPECT_EQ(result.status, 0) << result.error;
    }
    std::unique_ptr<platform::ChildProcess> watch(const std::string& language) const {
        platform::ChildOptions options;
        options.arguments = {builtProgram("panelctl"), "--endpoint", service->endpoint(), "--lang", language, "watch"};
        options.environment = {{"PANELKIT_BRIDGE", std::nullopt}, {"LC_ALL", "C.UTF-8"}};
        return std::make_unique<platform::ChildProcess>(options);
    }
    template <class Condition>
    static void waitFor(Condition condition) {
        const auto limit = std::chrono::steady_clock::now() + 20s;
        while (!condition() && std::chrono::steady_clock::now() < limit) std::this_thread::sleep_for(10ms);
    }
    void expectSeen(const std::string& inEnglish, const std::string& inRussian) const {
        waitFor([&] {
            return english->outputSoFar().find(inEnglish) != std::string::npos &&
                   russian->outputSoFar().find(inRussian) != std::string::npos;
        });
        EXPECT_THAT(english->outputSoFar(), HasSubstr(inEnglish));
        EXPECT_THAT(russian->outputSoFar(), HasSubstr(inRussian));
    }

    TokenModuleControl control;
    std::unique_ptr<RunningService> service;
    std::unique_ptr<platform::ChildProcess> english, russian;
};

TEST_F(WatchingLive, ShowsTokensTheConfigurationAndThePolicyInBothLanguages) {
    control.insert("reader", "office");
    expectSeen("Token \"Office\"", "Токен \"Office\"");
    act({"token", "init", "Office", "--label", "New", "--yes", "--so-pin-stdin", "--pin-stdin"}, "so-secret\n5678\n");
    expectSeen(" was initialised.", " инициализирован.");
    control.remove("reader");
    expectSeen(" was removed.", " извлечен.");

    act({"config", "set", "IKE.EXCHANGE_TIMEOUT", "90"});
    act({"config", "commit"});
    expectSeen(" committed the configuration: IKE.", " зафиксировал конфигурацию: IKE.");

    act({"policy", "activate", "driver", "--name", "drop-all-except-dhcp"});
    expectSeen(" is in force.", "Действует политика ");
}

} // namespace
