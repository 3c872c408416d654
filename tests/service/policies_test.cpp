// SPDX-License-Identifier: MIT
//
// The class Policies without a service: its news of activations, and a disk on which nothing can be written.
#include <service/policy/policies.h>

#include "../support/running_service.h"

#include <service/base/refused.h>

#include <platform/system/files.h>
#include <vocabulary/policy.h>

#include <gmock/gmock.h>

#include <atomic>
#include <condition_variable>
#include <thread>
#include <vector>

using namespace panelkitd;
namespace settingsField = vocabulary::policySettings;

namespace {

const std::string good = "title = Office\nversion = 1\n";

std::string driverModeOf(const WantedPolicy& wanted) {
    return vocabulary::driverModeNames.at(wanted.request.driverMode);
}

class NothingToSee : public Credentials {
public:
    std::optional<CredentialList> list() const override { return std::nullopt; }
};

class ThePolicies : public testing::Test {
protected:
    void configure(std::uint32_t loadingDelay) {
        LSPcmd::LSPsettings_t settings;
        settings.Source = 1;
        settings.File = "/office.lsp";
        settings.*settingsField::loadingDelay = loadingDelay;
        policies->setSystemSettings(settings);
    }
    void hear(const PolicyNews& news) {
        if (policies && news.title != driverModeOf(policies->required())) ++othersRequired;
        const std::scoped_lock lock(mutex);
        heard.push_back(news);
        more.notify_all();
    }
    std::vector<PolicyNews> heardSoFar() {
        const std::scoped_lock lock(mutex);
        return heard;
    }
    bool waitForNews(std::size_t count) {
        std::unique_lock lock(mutex);
        return more.wait_for(lock, std::chrono::seconds(10), [&] { return heard.size() >= count; });
    }

    TemporaryFolder folder;
    StateFolder state{folder.file("state")};
    NothingToSee credentials;
    std::mutex mutex; // guards the news
    std::condition_variable more;
    std::vector<PolicyNews> heard;
    std::atomic<int> othersRequired{0}; // news of a driver policy while another one was the required one
    std::unique_ptr<Policies> policies =
        std::make_unique<Policies>(state, credentials, [this](const PolicyNews& news) { hear(news); });
};

TEST_F(ThePolicies, TellOfEachActivationThatCameToItsEnd) {
    configure(0);
    policies->activateSystem(good, "", "root");
    ASSERT_EQ(heardSoFar().size(), 1U);
    EXPECT_TRUE(heard[0].activated);
    EXPECT_EQ(heard[0].source, "system");
    EXPECT_EQ(heard[0].title, "Office");
    policies->activateSystem("nonsense", "", "root");
    ASSERT_EQ(heardSoFar().size(), 2U);
    EXPECT_FALSE(heard[1].activated);
    EXPECT_EQ(heard[1].title, "/office.lsp");
    EXPECT_THAT(heard[1].message, testing::HasSubstr("line 1: "));
    policies->activateDriver(LSPdropAll, "", "root");
    ASSERT_EQ(heardSoFar().size(), 3U);
    EXPECT_EQ(heard[2].source, "driver");
    EXPECT_EQ(heard[2].title, "drop-all") << "which of the driver policies";
    LSPcmd::LSPsettings_t settings;
    settings.Source = 1;
    policies->setUserSettings({"1000", "anna"}, settings);
    policies->activateUser({"1000", "anna"}, good, "", "anna");
    ASSERT_EQ(heardSoFar().size(), 4U);
    EXPECT_EQ(heard[3].source, "user");
    EXPECT_EQ(heard[3].user, "anna");
}

TEST_F(ThePolicies, TellOfOneThatTakesItsTimeWhenItIsInForce) {
    configure(200);
    policies->activateSystem(good, "", "root");
    EXPECT_TRUE(heardSoFar().empty());
    EXPECT_TRUE(policies->report().info.isLoading);
    ASSERT_TRUE(waitForNews(1));
    EXPECT_EQ(heardSoFar()[0].title, "Office");
    EXPECT_FALSE(policies->report().info.isLoading);
    configure(60'000);
    policies->activateSystem(good, "", "root");
    policies.reset(); // must not wait for the end of loading
    EXPECT_EQ(heardSoFar().size(), 1U);
}

TEST_F(ThePolicies, TellOfAnAcceptedOneThatAnotherReplaces) {
    configure(60'000);
    ASSERT_TRUE(policies->activateSystem(good, "", "root").activated);
    configure(0);
    policies->activateDriver(LSPpassAll, "", "root");
    ASSERT_EQ(heardSoFar().size(), 2U);
    EXPECT_FALSE(heard[0].activated);
    EXPECT_EQ(heard[0].title, "Office");
    ASSERT_EQ(heard[0].remarks.size(), 1U);
    EXPECT_EQ(heard[0].remarks[0].code, static_cast<std::uint32_t>(vocabulary::Refused::policyReplaced));
    EXPECT_TRUE(heard[1].activated);
    EXPECT_EQ(heard[1].title, "pass-all");
}

TEST_F(ThePolicies, TellTheNewsInTheOrderOfTheChanges) {
    constexpr std::size_t changes = 60;
    configure(0);
    const auto change = [this](std::uint32_t mode) {
        for (std::size_t i = 0; i < changes / 2; ++i) policies->activateDriver(mode, "", "root");
    };
    std::thread other(change, LSPdropAll);
    change(LSPpassAll);
    other.join();
    EXPECT_EQ(heardSoFar().size(), changes);
    EXPECT_EQ(othersRequired, 0);
}

TEST_F(ThePolicies, ChangeNothingThatCantBeStored) {
    configure(0);
    const std::string file = state.file("policy.json");
    std::filesystem::remove(file);
    std::filesystem::create_directories(file + "/in the way");
    EXPECT_THROW(policies->activateSystem(good, "", "root"), RefusedError);
    EXPECT_THROW(configure(7), RefusedError);
    EXPECT_EQ(policies->report().info.request.type, LSPdriver);
    EXPECT_EQ(policies->systemSettings().*settingsField::loadingDelay, 0U);
    EXPECT_TRUE(heardSoFar().empty());
    std::filesystem::remove_all(file);
    EXPECT_TRUE(policies->activateSystem(good, "", "root").activated) << "and it goes on when there is room again";
}

LSPcmd::LSPsettings_t settingsOf(std::size_t bytes) {
    LSPcmd::LSPsettings_t settings;
    settings.File.assign(bytes, 'f');
    return settings;
}

vocabulary::Refused refusalOf(const std::function<void()>& change) {
    try {
        change();
    } catch (const RefusedError& refused) {
        return refused.reason;
    }
    return vocabulary::Refused::none;
}

// Stored data must be readable at the next start, and accounts must leave room for the system's policy.
TEST_F(ThePolicies, KeepOfAccountsNoMoreThanTheirShare) {
    using vocabulary::Refused;
    constexpr std::size_t mebibyte = std::size_t{1} << 20;
    const auto set = [&](const std::string& account, std::size_t bytes) {
        return refusalOf([&] { policies->setUserSettings({account, account}, settingsOf(bytes)); });
    };
    EXPECT_EQ(set("1000", 4 * mebibyte), Refused::notStored);
    EXPECT_EQ(policies->userSettings("1000").File, "");
    EXPECT_EQ(set("1000", 2 * mebibyte), Refused::none);
    EXPECT_EQ(set("1001", 2 * mebibyte), Refused::none);
    EXPECT_EQ(set("1002", 2 * mebibyte), Refused::none);
    EXPECT_EQ(set("1003", 2 * mebibyte), Refused::notStored) << "all accounts together";
    EXPECT_EQ(set("1003", mebibyte), Refused::none);
    EXPECT_EQ(set("1002", mebibyte), Refused::none) << "less than before is always taken";
    EXPECT_EQ(refusalOf([&] { policies->setSystemSettings(settingsOf(5 * mebibyte)); }), Refused::none);
    EXPECT_EQ(refusalOf([&] { policies->setSystemSettings(settingsOf(15 * mebibyte)); }), Refused::notStored);

    policies = nullptr;
    const Policies again(state, credentials);
    EXPECT_EQ(again.systemSettings().File.size(), 5 * mebibyte);
    EXPECT_EQ(again.userSettings("1001").File.size(), 2 * mebibyte);
}

} // namespace
