// SPDX-License-Identifier: MIT
//
// panelctl token states: what the service can see of providers and tokens, and why not of the others.
#include <panelctl/base/condition_rows.h>
#include <panelctl/base/exit_codes.h>
#include <panelctl/base/failure_text.h>
#include <panelctl/base/output.h>
#include <panelctl/base/progress.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/base/verbs.h>
#include <panelctl/tokens/token_names.h>

#include <vocabulary/tokens.h>

#include <algorithm>
#include <array>

namespace panelctl {

using panelkit::ProviderCondition;
using panelkit::ProviderState;
using panelkit::TokenCondition;
using panelkit::TokenState;

namespace {

// clang-format off
constexpr std::array providerRows = {
    ConditionRow<ProviderCondition>{ProviderCondition::ready,        "ready",         Mood::good,    N_("ready")},
    ConditionRow<ProviderCondition>{ProviderCondition::notLoaded,    "not-loaded",    Mood::bad,     N_("not loaded")},
    ConditionRow<ProviderCondition>{ProviderCondition::restarting,   "restarting",    Mood::warning, N_("being started again")},
    ConditionRow<ProviderCondition>{ProviderCondition::notAnswering, "not-answering", Mood::bad,     N_("does not answer")},
};
constexpr std::array tokenRows = {
    ConditionRow<TokenCondition>{TokenCondition::seen,           "seen",            Mood::good,    N_("all objects are visible")},
    ConditionRow<TokenCondition>{TokenCondition::loggedOut,      "logged-out",      Mood::warning, N_("private objects are not visible without log-in")},
    ConditionRow<TokenCondition>{TokenCondition::notInitialised, "not-initialised", Mood::plain,   N_("not initialised")},
    ConditionRow<TokenCondition>{TokenCondition::removed,        "removed",         Mood::warning, N_("removed")},
    ConditionRow<TokenCondition>{TokenCondition::outOfReach,     "out-of-reach",    Mood::bad,     N_("out of reach")},
};
// clang-format on

std::string nameOf(const PKCS11::TokenInfo& token) {
    const std::string& label = token.*vocabulary::token::label;
    return label.empty() ? token.*vocabulary::token::serial : label;
}

struct TokenStates {
    void options(CLI::App&) {}
    void run(const Context& context) const {
        MonitorWithDots controller(context);
        std::vector<ProviderState> providers;
        std::vector<TokenState> tokens;
        if (!controller.GetStates(providers, tokens)) throw lastFailureError();
        std::stable_sort(tokens.begin(), tokens.end(), [](const TokenState& one, const TokenState& other) {
            return comesBefore(one.token, other.token);
        });
        context.json ? printAsJson(providers, tokens) : print(providers, tokens);
    }

private:
    static void printAsJson(const std::vector<ProviderState>& providers, const std::vector<TokenState>& tokens) {
        nlohmann::ordered_json json{{"schema", 1}};
        json["providers"] = json["tokens"] = nlohmann::ordered_json::array();
        for (const ProviderState& state : providers) {
            json["providers"].push_back({{"name", state.name},
                                         {"path", state.path},
                                         {"state", rowOf(providerRows, state.condition).word},
                                         {"why", remarksText(state.why)}});
        }
        for (const TokenState& state : tokens) {
            nlohmann::ordered_json token = tokenJson(state.token);
            token["state"] = rowOf(tokenRows, state.condition).word;
            json["tokens"].push_back(token);
        }
        printJson(json);
    }

    static void print(const std::vector<ProviderState>& providers, const std::vector<TokenState>& tokens) {
        Table upper({say("PROVIDER"), say("STATE")});
        for (const ProviderState& state : providers) {
            const auto& row = rowOf(providerRows, state.condition);
            upper.add({{state.name}, {say(row.text), row.mood}});
        }
        upper.print();
        if (!providers.empty() && !tokens.empty()) printLine("");
        Table lower({say("TOKEN"), say("PROVIDER"), say("STATE")});
        for (const auto& [token, condition] : tokens) {
            const auto& row = rowOf(tokenRows, condition);
            lower.add({{nameOf(token)}, {token.*vocabulary::token::provider}, {say(row.text), row.mood}});
        }
        lower.print();
        for (const ProviderState& state : providers) {
            if (!state.why.empty()) printNote(escaped(remarksText(state.why)));
        }
    }
};

} // namespace

void addTokenStatesVerb(CLI::App& group, const Context& context) {
    addVerb<TokenStates>(group, context, "states", say("Show what the service can see of providers and tokens"));
}

} // namespace panelctl
