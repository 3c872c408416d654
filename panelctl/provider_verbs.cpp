// SPDX-License-Identifier: MIT
//
// panelctl provider ...
#include <panelctl/exit_codes.h>
#include <panelctl/names.h>
#include <panelctl/output.h>
#include <panelctl/verbs.h>

#include <vocabulary/tokens.h>

#include <nlohmann/json.hpp>

namespace panelctl {

using PKCS11::ProviderInfo;
namespace field = vocabulary::provider;

namespace {

nlohmann::ordered_json toJson(const ProviderInfo& provider) {
    return {{"schema", 1},
            {"name", provider.*field::name},
            {"path", provider.*field::path},
            {"manufacturer", provider.*field::manufacturer},
            {"description", provider.*field::description},
            {"moduleVersion", provider.*field::moduleVersion},
            {"cryptokiVersion", provider.*field::cryptokiVersion},
            {"tokens", provider.*field::tokenCount},
            {"loaded", provider.*field::isLoaded},
            {"remembered", provider.*field::isRemembered},
            {"embedded", provider.*field::isEmbedded},
            {"problem", provider.*field::problem}};
}

Cell stateOf(const ProviderInfo& provider) {
    if (!(provider.*field::isLoaded)) return {phrase(Say::stateNotLoaded, {provider.*field::problem}), Mood::bad};
    return {text(provider.*field::isEmbedded ? Say::stateEmbedded : Say::stateLoaded), Mood::good};
}

struct ProviderList {
    void options(CLI::App&) {}
    void run(const Context& context) const {
        CLIVpnTokensController controller;
        std::vector<ProviderInfo> providers;
        if (!controller.EnumProviders(providers)) throw lastFailureError();
        if (context.json) {
            auto list = nlohmann::ordered_json::array();
            for (const ProviderInfo& provider : providers) list.push_back(toJson(provider));
            return printJson(list);
        }
        if (providers.empty()) return printNote(text(Say::noProviders));
        Table table({text(Say::headingName), text(Say::headingTokens), text(Say::headingModule), text(Say::headingPath),
                     text(Say::headingState)});
        for (const ProviderInfo& provider : providers) {
            table.add({{provider.*field::name},
                       {std::to_string(provider.*field::tokenCount)},
                       {provider.*field::description + " " + provider.*field::moduleVersion},
                       {provider.*field::path},
                       stateOf(provider)});
        }
        table.print();
    }
};

struct ProviderLoad {
    std::string path, name;
    bool remember = false;

    void options(CLI::App& verb) {
        verb.add_option("module", path, text(Say::argumentModule))->required();
        verb.add_option("--name", name, text(Say::optionProviderName));
        verb.add_flag("--remember", remember, text(Say::optionRemember));
    }
    void run(const Context& context) const {
        CLIVpnTokensController controller;
        ProviderInfo provider;
        provider.*field::path = path;
        provider.*field::name = name;
        provider.*field::isRemembered = remember;
        if (!controller.ProviderLoad(provider)) {
            if (bridge::lastFailure().code != bridge::FailureCode::none) throw lastFailureError();
            throw CommandError(Exit::providerRefused, provider.*field::problem);
        }
        if (context.json) return printJson(toJson(provider));
        const Say done = provider.*field::isRemembered ? Say::providerRemembered : Say::providerLoaded;
        printLine(phrase(done, {provider.*field::name}));
    }
};

// The two verbs that name a provider and say no more.
template <bool (VpnTokensController::*operation)(const ProviderInfo&), Say done>
struct OnProvider {
    std::string name;

    void options(CLI::App& verb) { verb.add_option("provider", name, text(Say::argumentProvider))->required(); }
    void run(const Context&) const {
        CLIVpnTokensController controller;
        const ProviderInfo provider = findProvider(controller, name);
        if (!(controller.*operation)(provider)) throw lastFailureError();
        printLine(phrase(done, {provider.*field::name}));
    }
};

using ProviderUnload = OnProvider<&VpnTokensController::ProviderUnload, Say::providerUnloaded>;
using ProviderRaise = OnProvider<&VpnTokensController::ProviderLevelUp, Say::providerRaised>;

} // namespace

void addProviderVerbs(CLI::App& group, const Context& context) {
    addVerb<ProviderList>(group, context, "list", Say::verbProviderList);
    addVerb<ProviderLoad>(group, context, "load", Say::verbProviderLoad);
    addVerb<ProviderUnload>(group, context, "unload", Say::verbProviderUnload);
    addVerb<ProviderRaise>(group, context, "raise", Say::verbProviderRaise);
}

} // namespace panelctl
