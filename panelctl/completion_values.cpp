// SPDX-License-Identifier: MIT
#include <panelctl/completion_values.h>

#include <panelkit/lparams/sections.h>
#include <panelkit/tokens/tokens_controller.h>
#include <vocabulary/tokens.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace panelctl {

namespace {

using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;

std::vector<Candidate> tokens() {
    namespace field = vocabulary::token;
    VpnTokensController controller;
    std::vector<TokenInfo> listed;
    controller.EnumProviderTokens(nullptr, listed);
    std::vector<Candidate> candidates;
    for (const TokenInfo& token : listed) {
        const std::string& label = token.*field::label;
        candidates.push_back({label.empty() ? token.*field::serial : label, token.*field::model});
    }
    return candidates;
}

std::vector<Candidate> providers() {
    namespace field = vocabulary::provider;
    VpnTokensController controller;
    std::vector<ProviderInfo> listed;
    controller.EnumProviders(listed);
    std::vector<Candidate> candidates;
    for (const ProviderInfo& provider : listed) {
        candidates.push_back({provider.*field::name, provider.*field::description});
    }
    return candidates;
}

std::vector<Candidate> parameters() {
    std::vector<Candidate> candidates;
    for (const auto& group : panelkit::AllGroups()) {
        for (const LPARAMS::Client::Param* param : group->params) {
            candidates.push_back({std::string(group->name) + '.' + param->key, param->label});
        }
    }
    return candidates;
}

std::vector<Candidate> languages() { return {{"en", "English"}, {"ru", "Русский"}}; }

struct Source {
    std::string_view argument;
    std::vector<Candidate> (*list)();
};

// clang-format off
constexpr std::array sources = {
    Source{"token",       tokens},
    Source{"provider",    providers},
    Source{"parameter",   parameters},
    Source{"SECTION.KEY", parameters},
    Source{"lang",        languages},
};
// clang-format on

} // namespace

std::vector<Candidate> valuesOf(std::string_view argument) {
    const auto source =
        std::find_if(sources.begin(), sources.end(), [&](const Source& row) { return row.argument == argument; });
    if (source == sources.end()) return {};
    try {
        return source->list();
    } catch (const char* /* the stream's error */) {
        return {};
    }
}

} // namespace panelctl
