// SPDX-License-Identifier: MIT
//
// Commands and notifications when this process has no thread, no descriptor or no memory left.
#include <panelkit/bridge/send_command.h>
#include <panelkit/certs/certs_controller.h>
#include <panelkit/notifications/notifications_listener.h>
#include <panelkit/tokens/tokens_controller.h>

#include <platform/bridge/workers.h>

#include "../../support/bytes.h"
#include "../../support/no_descriptors_posix.h"
#include "../../support/service_fixture.h"

#include <pthread.h>

#include <list>
#include <system_error>

using bridge::FailureCode;

namespace {

// Stacks that no system can give: no thread can be made.
class NoThreads {
public:
    NoThreads() {
        ::pthread_getattr_default_np(&before_);
        pthread_attr_t huge;
        ::pthread_attr_init(&huge);
        ::pthread_attr_setstacksize(&huge, std::size_t{1} << 50);
        ::pthread_setattr_default_np(&huge);
        ::pthread_attr_destroy(&huge);
    }
    ~NoThreads() {
        ::pthread_setattr_default_np(&before_);
        ::pthread_attr_destroy(&before_);
    }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;

private:
    pthread_attr_t before_{};
};

std::uint64_t addressesInUse() {
    std::ifstream file("/proc/self/statm");
    std::uint64_t pages = 0;
    file >> pages;
    return pages * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

// Room for small things only.
class LittleMemory {
public:
    LittleMemory() {
        ::getrlimit(RLIMIT_AS, &before_);
        const rlimit little{addressesInUse() + (8U << 20), before_.rlim_max};
        ::setrlimit(RLIMIT_AS, &little);
    }
    ~LittleMemory() { ::setrlimit(RLIMIT_AS, &before_); }
    LittleMemory(const LittleMemory&) = delete;
    LittleMemory& operator=(const LittleMemory&) = delete;

private:
    rlimit before_{};
};

class Scarcity : public WithScriptedService {
protected:
    bool list() {
        std::vector<PKCS11::ProviderInfo> providers;
        return VpnTokensController().EnumProviders(providers);
    }
};

TEST_F(Scarcity, OfThreadsFailsTheCommandAndTheNextOneIsCarriedOut) {
    service->on(Command::CertsReloadAll, Reaction::reply(""));
    VpnCertsController controller;
    {
        // Threads that are kept for commands would be used: all of them are at work.
        std::promise<void> end;
        const std::shared_future<void> ended = end.get_future().share();
        std::list<bridge::Job> jobs;
        for (int i = 0; i < 100; ++i) jobs.emplace_back([ended] { ended.wait(); });
        const NoThreads none;
        EXPECT_FALSE(controller.ReloadAll(true));
        EXPECT_EQ(bridge::lastFailure().code, FailureCode::exhausted);
        EXPECT_THAT(service->requests(), testing::IsEmpty());
        end.set_value();
    }
    EXPECT_TRUE(controller.ReloadAll(true));
}

TEST_F(Scarcity, OfThreadsStartsNoReceiver) {
    {
        const NoThreads none;
        EXPECT_THROW(VpnNotificationsListener::init(nullptr), std::system_error);
    }
    VpnNotificationsListener::init(nullptr);
    EXPECT_TRUE(service->waitForReceiver());
    VpnNotificationsListener::fini();
}

TEST_F(Scarcity, OfDescriptorsIsNotCalledAServiceThatDoesNotRun) {
    service->on(Command::EnumProviders, Reaction::reply(hex("00 00 00 00")));
    {
        const NoDescriptors none;
        EXPECT_FALSE(list());
    }
    EXPECT_EQ(bridge::lastFailure().code, FailureCode::noService);
    EXPECT_NE(bridge::lastFailure().text().find("too many files"), std::string::npos) << bridge::lastFailure().text();
    EXPECT_TRUE(list());
}

TEST_F(Scarcity, OfMemoryFailsTheCommandAndTheNextOneConnectsAgain) {
    if (addressesInUse() > std::uint64_t{1} << 40) GTEST_SKIP() << "a sanitizer needs all addresses";
    service->on(Command::EnumProviders, Reaction::claim(64U << 20));
    {
        const LittleMemory little;
        EXPECT_FALSE(list());
    }
    EXPECT_EQ(bridge::lastFailure().code, FailureCode::exhausted);
    EXPECT_EQ(SessionsPool::GetSession(SessionTokens)->broken(), 0U);
    service->on(Command::EnumProviders, Reaction::reply(hex("00 00 00 00")));
    EXPECT_TRUE(list());
}

} // namespace
