// SPDX-License-Identifier: MIT
//
// The class Policies without a service: its news of activations, and a disk on which nothing can be written.
#include <service/engine/record_engine.h>
#include <service/policy/activation.h>
#include <service/policy/policies.h>

#include "../support/running_service.h"
#include "../support/test.h"
#include "refusal_of.h"

#include <service/base/limits.h>
#include <service/base/log.h>

#include <platform/system/files.h>
#include <vocabulary/policy.h>

#include <condition_variable>

using namespace panelkitd;
namespace settingsField = vocabulary::policySettings;

namespace {

const std::string good = "title = Office\nversion = 1\n";

std::string driverModeOf(const WantedPolicy& wanted) {
    return vocabulary::driverModeNames.at(wanted.request.driverMode);
}

class Tokens : public Credentials {
public:
    std::optional<CredentialList> list() const override {
        if (looked) looked();
        return content;
    }
    std::optional<CredentialList> content; // nothing to see
    std::function<void()> looked;
};

// Takes no policy with the title "unfit", and every other one unless it is told to refuse some.
class SteeredEngine : public RecordEngine {
public:
    void apply(const EnginePolicy& policy) override {
        const std::scoped_lock lock(mutex);
        const bool isUnfit = policy.text && policy.text->title == "unfit";
        if (isUnfit || refusals > 0) {
            if (!isUnfit) --refusals;
            throw EngineError({remark(vocabulary::Refused::engineState, "line 3: section [a] fails")});
        }
        applied.push_back(policy.text ? policy.text->title
                                      : std::string(vocabulary::driverModeNames.at(policy.driverMode)));
        if (meanwhile) meanwhile();
        changed.notify_all();
    }
    bool waitFor(std::size_t count) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(20), [&] { return applied.size() >= count; });
    }
    std::vector<std::string> applied; // titles and driver modes
    std::atomic<int> refusals{0};     // so many are still to come
    std::function<void()> meanwhile;  // called while it takes one
    std::mutex mutex;
    std::condition_variable changed;
};

// Nobody may make the folder's file.
void blockFile(const std::string& path) {
    if (std::filesystem::is_directory(path)) return;
    std::filesystem::remove(path);
    std::filesystem::create_directories(path + "/in the way");
}

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
    // The news in short.
    std::vector<std::string> told() {
        std::vector<std::string> lines;
        for (const PolicyNews& news : heardSoFar()) {
            lines.push_back((news.activated ? "" : "failed: ") + news.source + ' ' + news.title +
                            (news.user.empty() ? "" : ' ' + news.user));
        }
        return lines;
    }
    bool waitForNews(std::size_t count) {
        std::unique_lock lock(mutex);
        return more.wait_for(lock, std::chrono::seconds(10), [&] { return heard.size() >= count; });
    }

    TemporaryFolder folder;
    StateFolder state{folder.file("state")};
    Tokens credentials;
    SteeredEngine engine;
    std::mutex mutex; // guards the news
    std::condition_variable more;
    std::vector<PolicyNews> heard;
    std::atomic<int> othersRequired{0}; // news of a driver policy while another one was the required one
    std::unique_ptr<Policies> policies =
        std::make_unique<Policies>(state, credentials, engine, [this](const PolicyNews& news) { hear(news); });
};

TEST_F(ThePolicies, TellOfEachActivationThatCameToItsEnd) {
    configure(0);
    policies->activateSystem(good, "", "root");
    policies->activateSystem("nonsense", "", "root");
    policies->activateDriver(LSPdropAll, "", "root");
    LSPcmd::LSPsettings_t settings;
    settings.Source = 1;
    policies->setUserSettings({"1000", "anna"}, settings);
    policies->activateUser({"1000", "anna"}, good, "", "anna");
    policies->activateUser({"1000", "anna"}, "nonsense", "", "anna");
    EXPECT_THAT(told(), ElementsAre("system Office", "failed: system /office.lsp", "driver drop-all",
                                    "user Office anna", "failed: user (not shown) anna"));
    EXPECT_EQ(heardSoFar().at(4).message, "only anna and administrators of the service can see why");
    EXPECT_THAT(heardSoFar().at(1).message, testing::HasSubstr("line 1: "));
}

TEST_F(ThePolicies, AnnounceASlowActivationWhenThePolicyIsInForce) {
    configure(200);
    policies->activateSystem(good, "", "root");
    EXPECT_THAT(told(), ElementsAre());
    EXPECT_TRUE(policies->report().info.isLoading);
    ASSERT_TRUE(waitForNews(1));
    EXPECT_THAT(told(), ElementsAre("system Office"));
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
    ASSERT_THAT(told(), ElementsAre("failed: system Office", "driver pass-all"));
    ASSERT_EQ(heard[0].remarks.size(), 1U);
    EXPECT_EQ(heard[0].remarks[0].code, static_cast<std::uint32_t>(vocabulary::Refused::policyReplaced));
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
    blockFile(state.file("policy.json"));
    EXPECT_THROW(policies->activateSystem(good, "", "root"), RefusedError);
    EXPECT_THROW(configure(7), RefusedError);
    EXPECT_EQ(policies->report().info.request.type, LSPdriver);
    EXPECT_EQ(policies->systemSettings().*settingsField::loadingDelay, 0U);
    EXPECT_TRUE(heardSoFar().empty());
    std::filesystem::remove_all(state.file("policy.json"));
    EXPECT_TRUE(policies->activateSystem(good, "", "root").activated) << "and it goes on when there is room again";
}

// Without a pause between its attempts the service would do nothing else.
TEST_F(ThePolicies, AreTriedAgainAfterAWhileWhenOneThatLoadsCantBeStored) {
    configure(100);
    policies->activateSystem(good, "", "root");
    testing::internal::CaptureStderr();
    blockFile(state.file("policy.json"));
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    policies.reset();
    drainLog(std::chrono::seconds(1));
    const std::string log = testing::internal::GetCapturedStderr(), failure = "is not in force yet";
    const std::size_t first = log.find(failure);
    EXPECT_NE(first, std::string::npos);
    EXPECT_EQ(log.find(failure, first + 1), std::string::npos);
}

TEST_F(ThePolicies, AreLookedIntoWithoutHoldingUpOthersAndNotAfterAFailure) {
    configure(0);
    const std::string protects = good + "[a]\naction = protect\ngateway = g\nsubject = CN=anna\n";
    policies->activateSystem(protects, "the name", "root");
    policies->activateRequired("", "root");
    EXPECT_EQ(policies->report().info.*vocabulary::policyInfo::name, "the name") << "that it had before";

    credentials.content = CredentialList{true, true, {}, {}};
    std::future<WantedPolicy> other;
    credentials.looked = [&] {
        other = std::async(std::launch::async, [&] { return policies->required(); });
        EXPECT_EQ(other.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    };
    EXPECT_EQ(policies->report().info.certificateState, vocabulary::policyCertificate::missing);
    ASSERT_TRUE(other.valid());
    other = {};
    policies->activateSystem("nonsense", "", "root");
    EXPECT_THAT(policies->report().info.message, testing::HasSubstr("line 1: "));
    EXPECT_FALSE(other.valid());
}

// ---- the engine

TEST_F(ThePolicies, LeaveTheFormerOneInForceWhenTheEngineRefuses) {
    configure(0);
    ASSERT_TRUE(policies->activateSystem(good, "", "root").activated);
    engine.refusals = 1;
    const auto outcome = policies->activateSystem("title = Other\nversion = 2\n", "", "root");
    EXPECT_FALSE(outcome.activated);
    EXPECT_EQ(outcome.message, "the policy can't be put into force: line 3: section [a] fails");
    EXPECT_EQ(policies->inForce().text.title, "Office");
    EXPECT_EQ(policies->report().info.message, outcome.message);
    EXPECT_THAT(told(), ElementsAre("system Office", "failed: system /office.lsp"));
    EXPECT_TRUE(policies->activateRequired("", "root").activated);
    EXPECT_EQ(policies->inForce().text.title, "Office") << "the content that was refused is not kept";
    EXPECT_THAT(engine.applied, ElementsAre("pass-all", "Office", "Office"));
}

TEST_F(ThePolicies, AskTheEngineWhenADelayIsOver) {
    configure(200);
    engine.refusals = 1;
    EXPECT_TRUE(policies->activateSystem(good, "", "root").activated);
    ASSERT_TRUE(waitForNews(1));
    EXPECT_THAT(told(), ElementsAre("failed: system /office.lsp"));
    EXPECT_FALSE(policies->report().info.isLoading);
    EXPECT_EQ(policies->inForce().wanted.request.type, LSPdriver);
    policies->activateSystem(good, "", "root");
    ASSERT_TRUE(engine.waitFor(2));
    EXPECT_EQ(engine.applied.back(), "Office");
}

TEST_F(ThePolicies, PutTheFormerOneBackWhenTheNewOneCantBeStored) {
    configure(0);
    policies->activateSystem(good, "", "root");
    engine.meanwhile = [this] { blockFile(state.file("policy.json")); };
    EXPECT_THROW(policies->activateDriver(LSPdropAll, "", "root"), RefusedError);
    EXPECT_THAT(engine.applied, ElementsAre("pass-all", "Office", "drop-all", "Office"));
    EXPECT_EQ(policies->inForce().text.title, "Office");
}

TEST_F(ThePolicies, AreClosedUntilTheEngineTakesTheOneThatIsInForceAtTheStart) {
    configure(0);
    policies->activateSystem(good, "", "root");
    for (const bool another : {false, true}) {
        policies = nullptr;
        engine.applied.clear();
        engine.refusals = 1;
        policies = std::make_unique<Policies>(state, credentials, engine);
        EXPECT_EQ(policies->report().info.message, "the policy can't be put into force: line 3: section [a] fails");
        if (another) {
            EXPECT_FALSE(policies->activateSystem("title = unfit\nversion = 2\n", "", "root").activated);
        }
        ASSERT_TRUE(engine.waitFor(2)) << "it is tried again";
        EXPECT_THAT(engine.applied, ElementsAre("drop-all-except-dhcp", "Office"));
        if (another) continue;
        policies->setSystemSettings(policies->systemSettings()); // waits for the retry to end
        EXPECT_THAT(policies->report().info.message, testing::StartsWith("#warn: ")) << "what it was before";
    }
}

LSPcmd::LSPsettings_t settingsOf(std::size_t bytes) {
    LSPcmd::LSPsettings_t settings;
    settings.File.assign(bytes, 'f');
    return settings;
}

// As little is stored as shows the limits: without optimisation and with a sanitizer, each MiB takes seconds.
TEST_F(ThePolicies, KeepOfAccountsNoMoreThanTheirShare) {
    constexpr std::size_t mebibyte = std::size_t{1} << 20, most = limits::storedOfAccount - 4000;
    const auto set = [&](const std::string& account, std::size_t bytes) {
        return refusalOf([&] { policies->setUserSettings({account, account}, settingsOf(bytes)); });
    };
    constexpr std::size_t some = (limits::storedOfAllAccounts - limits::storedOfAccount) / 2 + 4000;
    EXPECT_EQ(set("1000", limits::storedOfAccount), vocabulary::Refused::notStored);
    EXPECT_EQ(policies->userSettings("1000").File, "");
    EXPECT_EQ(set("1000", some), vocabulary::Refused::none);
    EXPECT_EQ(set("1001", some), vocabulary::Refused::none);
    EXPECT_EQ(set("1002", most), vocabulary::Refused::notStored) << "all accounts together";
    EXPECT_EQ(set("1001", 1), vocabulary::Refused::none) << "less than before is always taken";
    EXPECT_EQ(policies->userSettings("1000").File.size(), some);
    EXPECT_LE(limits::storedOfAllAccounts + 5 * mebibyte, StateForm().limit) << "room for the system's policy";
}

// ---- settings and activations

using Settings = LSPcmd::LSPsettings_t;

struct SettingRow {
    const char* field; // as the refusal names it
    void (*taken)(Settings&);
    void (*refused)(Settings&);
};

std::string text(std::size_t size) { return std::string(size, 'x'); }
void addEntries(Settings& settings, std::size_t count, std::size_t size) {
    settings.entries.assign(count, {text(size), "", ""});
}

// clang-format off
const SettingRow settingRows[] = {
    {"Source",        [](Settings& s) { s.Source = 5; },                              [](Settings& s) { s.Source = 6; }},
    {"Source",        [](Settings& s) { s.Source = 0; },                              [](Settings& s) { s.Source = -1; }},
    {"File",          [](Settings& s) { s.File = text(4096); },                       [](Settings& s) { s.File = text(4097); }},
    {"File",          [](Settings& s) { s.File = "a b"; },                            [](Settings& s) { s.File = "a\nb"; }},
    {"Server",        [](Settings& s) { s.server.Server = text(1024); },              [](Settings& s) { s.server.Server = text(1025); }},
    {"Server",        [](Settings& s) { s.server.Server = "\xC3\xBC"; },              [](Settings& s) { s.server.Server = "\xFF"; }},
    {"LogLevel",      [](Settings& s) { s.server.LogLevel = 3; },                     [](Settings& s) { s.server.LogLevel = 4; }},
    {"LogLevel",      [](Settings& s) { s.server.LogLevel = 0; },                     [](Settings& s) { s.server.LogLevel = -1; }},
    {"PmpIdType",     [](Settings& s) { s.server.PmpIdType = 5; },                    [](Settings& s) { s.server.PmpIdType = 6; }},
    {"PmpTimeout",    [](Settings& s) { s.server.PmpTimeout = 0; },                   [](Settings& s) { s.server.PmpTimeout = -1; }},
    {"driver mode",   [](Settings& s) { s.*settingsField::driverMode = 2; },          [](Settings& s) { s.*settingsField::driverMode = 3; }},
    {"loading delay", [](Settings& s) { s.*settingsField::loadingDelay = 60'000; },   [](Settings& s) { s.*settingsField::loadingDelay = 60'001; }},
    {"1000 entries",  [](Settings& s) { addEntries(s, 1000, 1); },                    [](Settings& s) { addEntries(s, 1001, 1); }},
    {"an entry",      [](Settings& s) { addEntries(s, 1, 1024); },                    [](Settings& s) { addEntries(s, 1, 1025); }},
    {"256 KiB",       [](Settings& s) { addEntries(s, 256, 1024); },                  [](Settings& s) { addEntries(s, 257, 1024); }},
};
// clang-format on

TEST(TheSettings, AreTakenUpToTheirLimits) {
    for (const SettingRow& row : settingRows) {
        Settings settings;
        row.taken(settings);
        EXPECT_NO_THROW(requireTakeable(settings)) << row.field;
        row.refused(settings);
        try {
            requireTakeable(settings);
            ADD_FAILURE() << row.field;
        } catch (const RefusedError& error) {
            EXPECT_THAT(error.what(), testing::HasSubstr(row.field));
        }
    }
}

TEST(AnActivation, HasItsTimeAndEndsTheOneThatWasLoadingEvenIfItFails) {
    PolicyState state;
    state.system.Source = 1;
    state.system.File = "/office.lsp";
    state.system.*settingsField::loadingDelay = 60'000;
    EXPECT_TRUE(activate(state, systemPolicyOf(state), good, 1000));
    EXPECT_TRUE(state.loading);
    EXPECT_FALSE(activate(state, systemPolicyOf(state), "nonsense", 2000));
    EXPECT_FALSE(state.loading);
    state.system.*settingsField::loadingDelay = 0;
    EXPECT_TRUE(activate(state, systemPolicyOf(state), good, 3000));
    EXPECT_EQ(state.inForce.activated, 3000);
}

} // namespace
