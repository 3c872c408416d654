// SPDX-License-Identifier: MIT
//
// The state of providers and tokens, and settings that are not committed, as the service tells them.
#include "steered_token.h"
#include "with_service.h"

#include <panelkit/lparams/sections/config_transaction.h>
#include <panelkit/lparams/sections/sections.h>
#include <panelkit/monitor/monitor_controller.h>

using panelkit::MonitorController;
using panelkit::ProviderCondition;
using panelkit::ProviderState;
using panelkit::TokenCondition;
using panelkit::TokenState;
using panelkit::UncommittedValue;

namespace {

static_assert(panelkit::incompleteRemark == static_cast<std::uint32_t>(Refused::incomplete));

class TheStates : public Steered<WithService> {
protected:
    TheStates() { control.insert("second", "blank"); }
    void SetUp() override { ASSERT_EQ(WithService::load(testModule, "card", true), ""); }

    void look() { ASSERT_TRUE(monitor.GetStates(providers, states)) << bridge::lastFailure().text(); }
    ProviderState provider() {
        look();
        for (const ProviderState& state : providers) {
            if (state.name == "card") return state;
        }
        ADD_FAILURE() << "the provider is not told";
        return {};
    }
    std::vector<TokenCondition> conditionsOf(const std::string& label) {
        look();
        std::vector<TokenCondition> found;
        for (const auto& [token, condition] : states) {
            if (token.*vocabulary::token::label == label) found.push_back(condition);
        }
        return found;
    }
    TokenInfo office() {
        look();
        for (const auto& [token, condition] : states) {
            if (token.*vocabulary::token::label == "Office") return token;
        }
        return {};
    }

    MonitorController monitor;
    std::vector<ProviderState> providers;
    std::vector<TokenState> states;
};

TEST_F(TheStates, TellWhetherATokensObjectsAreVisible) {
    EXPECT_EQ(provider().condition, ProviderCondition::ready);
    EXPECT_THAT(provider().why, IsEmpty());
    EXPECT_EQ(provider().path, std::filesystem::canonical(testModule));
    EXPECT_THAT(conditionsOf("Office"), ElementsAre(TokenCondition::loggedOut));
    EXPECT_THAT(conditionsOf(""), ElementsAre(TokenCondition::notInitialised));
    ASSERT_TRUE(tokens.TokenLogin(office(), "user-1", false, nullptr));
    EXPECT_THAT(conditionsOf("Office"), ElementsAre(TokenCondition::seen));
    ASSERT_TRUE(tokens.TokenLogout(office()));
    EXPECT_THAT(conditionsOf("Office"), ElementsAre(TokenCondition::loggedOut));
}

TEST_F(TheStates, NameTokensThatWereRemovedUntilTheyComeBack) {
    ASSERT_TRUE(tokens.TokenLogin(office(), "user-1", false, nullptr));
    look();
    control.remove("reader");
    EXPECT_THAT(conditionsOf("Office"), ElementsAre(TokenCondition::removed));
    EXPECT_FALSE(office().flags & vocabulary::tokenFlag::loggedIn) << "its log-in ended with it";
    EXPECT_THAT(conditionsOf("Office"), ElementsAre(TokenCondition::removed)) << "each time";
    control.insert("second", "office");
    EXPECT_THAT(conditionsOf("Office"), ElementsAre(TokenCondition::loggedOut));
    EXPECT_THAT(conditionsOf(""), IsEmpty()) << "a blank token is none that anybody misses";
    // A new label is not a new token.
    ASSERT_TRUE(tokens.TokenInitialize(office(), "New", "so-secret", "user-1", true)) << bridge::lastFailure().text();
    EXPECT_THAT(conditionsOf("New"), ElementsAre(TokenCondition::loggedOut));
    EXPECT_THAT(conditionsOf("Office"), IsEmpty());
}

TEST_F(TheStates, NameAModuleThatHangs) {
    ASSERT_TRUE(tokens.TokenLogin(office(), "user-1", false, nullptr));
    look();
    control.hang("C_GetTokenInfo");
    const ProviderState state = provider();
    EXPECT_EQ(state.condition, ProviderCondition::notAnswering);
    ASSERT_GE(state.why.size(), 2U);
    EXPECT_EQ(state.why[0].code, static_cast<std::uint32_t>(Refused::incomplete));
    EXPECT_THAT(state.why[1].arguments, ElementsAre("card"));
    EXPECT_THAT(conditionsOf("Office"), ElementsAre(TokenCondition::outOfReach));
    control.clearFaults();
}

TEST_F(TheStates, NameATokenThatItsModuleCantDescribe) {
    ASSERT_TRUE(tokens.TokenLogin(office(), "user-1", false, nullptr));
    look();
    control.fail("C_GetTokenInfo", 0x30); // the device's error
    const ProviderState state = provider();
    EXPECT_EQ(state.condition, ProviderCondition::ready);
    ASSERT_FALSE(state.why.empty());
    EXPECT_EQ(state.why[0].code, static_cast<std::uint32_t>(Refused::incomplete));
    EXPECT_THAT(conditionsOf("Office"), ElementsAre(TokenCondition::outOfReach));
    EXPECT_TRUE(office().flags & vocabulary::tokenFlag::loggedIn) << "as it was seen last";
    control.clearFaults();
    EXPECT_THAT(conditionsOf("Office"), ElementsAre(TokenCondition::seen));
}

TEST_F(TheStates, NameTheLastHundredTokensThatWereRemoved) {
    for (int i = 0; i < 102; ++i) { // the first takes the place of "Office"
        const std::string name = "token-" + std::to_string(i);
        control.createToken(name, {.label = name});
        control.insert("reader", name);
        look();
    }
    EXPECT_THAT(conditionsOf("Office"), IsEmpty());
    EXPECT_THAT(conditionsOf("token-0"), IsEmpty());
    EXPECT_THAT(conditionsOf("token-1"), ElementsAre(TokenCondition::removed));
    EXPECT_EQ(states.size(), 102U) << "the removed ones, the one in its place, and the blank one";
}

TEST_F(TheStates, NameAModuleThatCrashedAndIsStartedAgain) {
    ASSERT_TRUE(tokens.TokenLogin(office(), "user-1", false, nullptr));
    look();
    control.crash("C_GetSlotList");
    waitFor([this] { return provider().condition != ProviderCondition::ready; });
    EXPECT_EQ(provider().condition, ProviderCondition::restarting);
    EXPECT_EQ(provider().why.at(1).code, static_cast<std::uint32_t>(Refused::moduleFailed));
    EXPECT_THAT(conditionsOf("Office"), ElementsAre(TokenCondition::outOfReach)) << "its record is the last one";
    EXPECT_FALSE(office().flags & vocabulary::tokenFlag::loggedIn) << "the log-in ended with the process";
    control.clearFaults();
    waitFor([this] { return provider().condition == ProviderCondition::ready; });
    EXPECT_THAT(conditionsOf("Office"), ElementsAre(TokenCondition::loggedOut));
}

TEST_F(TheStates, NameAModuleThatCantBeLoaded) {
    control.crash("C_Initialize");
    restart();
    const ProviderState state = provider();
    EXPECT_EQ(state.condition, ProviderCondition::notLoaded);
    EXPECT_THAT(conditionsOf("Office"), IsEmpty()) << "nothing is known of its tokens";
    control.clearFaults();
    SetUp();
    EXPECT_EQ(provider().condition, ProviderCondition::ready);
    EXPECT_EQ(providers.size(), 1U) << "the second attempt takes the place of the first";
}

// ---- settings

class UncommittedSettings : public WithService {
protected:
    void set(const char* section, const char* key, const char* text, panelkit::Commit commit = panelkit::Commit::no) {
        panelkit::ConfigTransaction transaction;
        panelkit::SectionBody* const body = transaction.section(section);
        ASSERT_TRUE(body);
        ASSERT_FALSE(body->enterText(body->indexOf(key), text));
        ASSERT_TRUE(transaction.apply(commit).isDone());
    }
    std::string get(const char* section, const char* key) {
        panelkit::ConfigTransaction transaction;
        const panelkit::SectionBody* const body = transaction.section(section);
        return body ? (*body)[body->indexOf(key)].print() : "(unread)";
    }

    // "IKE.MAX_HALFOPEN 200 -> 7"
    static std::vector<std::string> lines(const std::vector<UncommittedValue>& values) {
        std::vector<std::string> texts;
        for (const UncommittedValue& value : values) {
            const panelkit::Place place = panelkit::allGroups().find(value.section, value.key);
            const auto shown = [&](const std::string& stored) {
                return value.secret ? "***" + stored : panelkit::SectionValue{place.group, place.param, stored}.print();
            };
            texts.push_back(value.section + '.' + value.key + ' ' + shown(value.committed) + " -> " +
                            shown(value.written));
        }
        return texts;
    }
    std::vector<std::string> listed() {
        std::vector<UncommittedValue> values;
        EXPECT_TRUE(monitor.GetUncommitted(values)) << bridge::lastFailure().text();
        return lines(values);
    }
    std::vector<std::string> reverted(const std::vector<std::string>& names) {
        std::vector<UncommittedValue> values;
        EXPECT_TRUE(monitor.RevertSettings(names, values)) << bridge::lastFailure().text();
        return lines(values);
    }

    MonitorController monitor;
};

TEST_F(UncommittedSettings, AreListedWithBothValuesAndWithoutSecrets) {
    EXPECT_THAT(listed(), IsEmpty());
    set("PROXY", "HTTP_LISTEN_PORT", "8080", panelkit::Commit::yes);
    EXPECT_THAT(listed(), IsEmpty());
    set("PROXY", "HTTP_LISTEN_PORT", "8081");
    set("CERTMON", "SMTP_PASSWORD", "hunter2 and more");
    set("CERTMON", "DAYS_TO_EXPIRE", "9");
    EXPECT_THAT(listed(), ElementsAre("CERTMON.DAYS_TO_EXPIRE 30 -> 9", "CERTMON.SMTP_PASSWORD *** -> ***",
                                      "PROXY.HTTP_LISTEN_PORT 8080 -> 8081"));
    set("PROXY", "HTTP_LISTEN_PORT", "8080");
    EXPECT_EQ(listed().size(), 2U) << "written back";
    ASSERT_TRUE(LPARAMS::Client::writeToDisk());
    EXPECT_THAT(listed(), IsEmpty());
}

TEST_F(UncommittedSettings, AreTakenBackBySectionParameterOrAltogether) {
    const auto write = [&] {
        set("CERTMON", "DAYS_TO_EXPIRE", "9");
        set("CERTMON", "SMTP_PASSWORD", "hunter2 and more");
        set("PROXY", "HTTP_LISTEN_PORT", "8081");
    };
    const char* const days = "CERTMON.DAYS_TO_EXPIRE 30 -> 9";
    const char* const password = "CERTMON.SMTP_PASSWORD *** -> ***";
    const char* const port = "PROXY.HTTP_LISTEN_PORT 0 -> 8081";
    write();
    EXPECT_THAT(reverted({"certmon.days_to_expire"}), ElementsAre(days));
    EXPECT_EQ(get("CERTMON", "DAYS_TO_EXPIRE"), "30");
    EXPECT_THAT(listed(), ElementsAre(password, port));
    EXPECT_THAT(reverted({"CERTMON", "LOG", "IKE.MAX_HALFOPEN"}), ElementsAre(password));
    EXPECT_EQ(get("CERTMON", "SMTP_PASSWORD"), "");
    EXPECT_THAT(listed(), ElementsAre(port));
    write();
    EXPECT_THAT(reverted({}), ElementsAre(days, password, port));
    EXPECT_THAT(reverted({}), IsEmpty());
    EXPECT_EQ(get("PROXY", "HTTP_LISTEN_PORT"), "0");
    EXPECT_THAT(service.terminate().error, HasSubstr("RevertSettings of CERTMON.DAYS_TO_EXPIRE: done"));
}

TEST_F(UncommittedSettings, StayWhenANameIsUnknown) {
    set("PROXY", "HTTP_LISTEN_PORT", "8081");
    std::vector<UncommittedValue> values;
    for (const char* unknown : {"NONE", "PROXY.NONE", "", ".", "PROXY."}) {
        EXPECT_FALSE(monitor.RevertSettings({"PROXY", unknown}, values)) << unknown;
        EXPECT_EQ(refusal(), Refused::noSuchObject);
    }
    EXPECT_FALSE(monitor.RevertSettings(std::vector<std::string>(1001, "PROXY"), values));
    EXPECT_EQ(refusal(), Refused::badInput);
    EXPECT_EQ(listed().size(), 1U);
}

} // namespace
