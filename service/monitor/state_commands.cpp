// SPDX-License-Identifier: MIT
//
// The state of every provider and token.
#include <service/monitor/monitor_commands.h>

#include <panelkit/bridge/payload.h>
#include <panelkit/monitor/monitor_records.h>
#include <vocabulary/tokens.h>

#include <algorithm>

namespace panelkitd {

using panelkit::ProviderCondition;
using panelkit::ProviderState;
using panelkit::StateRemark;
using panelkit::TokenCondition;
using panelkit::TokenState;
using PKCS11::TokenInfo;
namespace tokenFlag = vocabulary::tokenFlag;

namespace {

ProviderCondition conditionOf(const Provider& provider, const SeenTokens& seen) {
    const bool answers = std::all_of(seen.unseen.begin(), seen.unseen.end(),
                                     [](const UnseenTokens& some) { return some.token.has_value(); });
    if (answers) return ProviderCondition::ready;
    const Remarks problem = provider.problem();
    if (problem.empty()) return ProviderCondition::notAnswering;
    const auto moduleFailed = static_cast<std::uint32_t>(vocabulary::Refused::moduleFailed);
    return problem[0].code == moduleFailed ? ProviderCondition::restarting : ProviderCondition::notLoaded;
}

TokenCondition conditionOf(const TokenInfo& token, const SeenTokens& seen) {
    if (isUnseen(token, seen.unseen)) return TokenCondition::outOfReach;
    if (!(token.flags & tokenFlag::initialized)) return TokenCondition::notInitialised;
    return needsLogin(token) ? TokenCondition::loggedOut : TokenCondition::seen;
}

ProviderState stateOf(const Provider& provider, const SeenTokens& seen) {
    ProviderState state{provider.settings().name, provider.settings().path, conditionOf(provider, seen), {}};
    for (const UnseenTokens& some : seen.unseen) {
        for (const bridge::Remark& remark : some.why) {
            state.why.push_back({remark.code, remark.phrase.wording, remark.phrase.arguments});
        }
    }
    return state;
}

} // namespace

std::string MonitorCommands::states(Call&) {
    std::vector<ProviderState> providers;
    std::vector<TokenState> tokens;
    for (const auto& provider : providers_.all()) {
        const KnownTokens known = provider->known();
        providers.push_back(stateOf(*provider, known.present));
        for (const TokenInfo& token : known.present.tokens) {
            tokens.push_back({token, conditionOf(token, known.present)});
        }
        for (const TokenInfo& token : known.removed) tokens.push_back({token, TokenCondition::removed});
    }
    return panelkit::encodeReply<panelkit::Command::GetStates>(providers, tokens);
}

} // namespace panelkitd
