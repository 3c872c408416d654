// SPDX-License-Identifier: MIT
#include <panelkit/tokens/tokens_controller.h>
#include <platform/bridge/call_limits.h>

#include "../../support/service_fixture.h"

using bridge::CallLimits;
using bridge::FailureCode;
using std::chrono::milliseconds;
using std::chrono::minutes;

namespace {

// Without limits, none of these would end within the test's time.
const Reaction endless[] = {
    Reaction::silence(), Reaction::reply("").after(minutes(10), 60'000), // a sign of life every 10 ms
    Reaction::claim(1000),                                               // a reply that never comes
};

class CallLimitsOf : public WithScriptedService, public testing::WithParamInterface<int> {
protected:
    CallLimitsOf() {
        const auto index = static_cast<std::size_t>(GetParam());
        service->on(Command::EnumProviders, endless[index]);
        service->on(Command::TokensReloadAll, endless[index]);
        SessionsPool::GetSession(SessionTokens)->setWaitSetting(0);
    }

    void expectGivenUp(bool answered) {
        EXPECT_FALSE(answered);
        EXPECT_EQ(bridge::lastFailure().code, FailureCode::timedOut);
        EXPECT_EQ(bridge::lastFailure().text(), "the command was given up before the service had answered it");
    }

    VpnTokensController controller;
    std::vector<PKCS11::ProviderInfo> providers;
};

TEST_P(CallLimitsOf, EndACommandWhoseTimeIsOver) {
    const CallLimits longer{minutes(1)};
    const CallLimits limits(milliseconds(100)); // the earlier end counts
    const CallLimits longest{minutes(2)};
    expectGivenUp(controller.EnumProviders(providers));
    expectGivenUp(controller.ReloadAll());
}

TEST_P(CallLimitsOf, EndACommandThatIsGivenUp) {
    std::atomic<bool> givenUp{false};
    const CallLimits limits(minutes(1), &givenUp);
    std::thread user([&] {
        while (service->requests().empty()) std::this_thread::yield();
        givenUp = true;
    });
    expectGivenUp(controller.EnumProviders(providers));
    user.join();
    expectGivenUp(controller.ReloadAll()); // at once
}

TEST_P(CallLimitsOf, EndWithTheirScope) {
    {
        const CallLimits limits(milliseconds(50));
        expectGivenUp(controller.ReloadAll());
    }
    EXPECT_EQ(CallLimits::inForce().until, bridge::never);
    service->answer<Command::EnumProviders>(std::vector<PKCS11::ProviderInfo>(1));
    EXPECT_TRUE(controller.EnumProviders(providers)); // over a new session
    EXPECT_EQ(providers.size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Bridge, CallLimitsOf, testing::Range(0, 3));

} // namespace
