// SPDX-License-Identifier: MIT
//
// panelctl provider ...
#include <panelctl/base/exit_codes.h>
#include <panelctl/base/failure_text.h>
#include <panelctl/base/output.h>
#include <panelctl/base/system.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/base/verbs.h>
#include <panelctl/tokens/token_names.h>

#include <platform/text/utf8_path.h>
#include <vocabulary/tokens.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>

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
    if (!(provider.*field::isLoaded)) return {say("not loaded: %s", provider.*field::problem), Mood::bad};
    return {provider.*field::isEmbedded ? say("embedded") : say("loaded"), Mood::good};
}

struct ProviderList {
    void options(CLI::App&) {}
    void run(const Context& context) const {
        CLIVpnTokensController controller;
        std::vector<ProviderInfo> providers;
        if (!controller.EnumProviders(providers)) throw lastFailureError();
        for (ProviderInfo& provider : providers) {
            provider.*field::problem = problemText(provider, bridge::lastRemarks());
        }
        if (context.json) {
            auto list = nlohmann::ordered_json::array();
            for (const ProviderInfo& provider : providers) list.push_back(toJson(provider));
            return printJson(list);
        }
        if (providers.empty()) return printNote(say("There are no providers."));
        Table table({say("NAME"), say("TOKENS"), say("MODULE"), say("PATH"), say("STATE")});
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

// People name files relative to the current folder; the service runs in another one.
std::string absolute(const std::string& module) {
    const std::filesystem::path given = platform::toPath(module);
    if (given.empty() || given.has_root_directory()) return module;
    std::error_code error;
    const std::filesystem::path full = std::filesystem::absolute(given, error);
    return error ? module : platform::fromPath(full.lexically_normal());
}

struct ProviderLoad {
    std::string path, name;
    bool remember = false;

    void options(CLI::App& verb) {
        verb.add_option("module", path, say("Absolute path of the module"))->required();
        verb.add_option("--name", name, say("Name of the provider (default: made from the file name)"));
        verb.add_flag("--remember", remember, say("Load it again whenever the service starts"));
    }
    void run(const Context& context) const {
        CLIVpnTokensController controller;
        ProviderInfo provider;
        provider.*field::path = absolute(path);
        provider.*field::name = name;
        provider.*field::isRemembered = remember;
        if (!controller.ProviderLoad(provider)) {
            if (bridge::lastFailure().code != bridge::FailureCode::none) throw lastFailureError();
            throw CommandError(Exit::providerRefused, remarksText(bridge::lastRemarks(), provider.*field::problem));
        }
        if (context.json) return printJson(toJson(provider));
        const std::string loaded = escaped(provider.*field::name);
        printLine(provider.*field::isRemembered
                      ? say("Provider \"%s\" is loaded, now and whenever the service starts.", loaded)
                      : say("Provider \"%s\" is loaded.", loaded));
    }
};

struct ProviderUnload {
    std::string name;

    void options(CLI::App& verb) { verb.add_option("provider", name, say("Name or path of the provider"))->required(); }
    void run(const Context& context) const {
        CLIVpnTokensController controller;
        const ProviderInfo provider = findProvider(controller, name);
        if (!controller.ProviderUnload(provider)) throw lastFailureError();
        if (context.json) return printJson({{"schema", 1}, {"unloaded", provider.*field::name}});
        printLine(say("Provider \"%s\" is unloaded.", escaped(provider.*field::name)));
    }
};

struct ProviderRaise {
    std::string name;

    void options(CLI::App& verb) { verb.add_option("provider", name, say("Name or path of the provider"))->required(); }
    void run(const Context& context) const {
        CLIVpnTokensController controller;
        const ProviderInfo provider = findProvider(controller, name);
        const bool isFirst = placeOf(controller, provider) == 0;
        if (!controller.ProviderLevelUp(provider)) throw lastFailureError();
        if (context.json) {
            return printJson(
                {{"schema", 1}, {"name", provider.*field::name}, {"place", placeOf(controller, provider)}});
        }
        printLine(isFirst ? say("Provider \"%s\" is already the first.", escaped(provider.*field::name))
                          : say("Provider \"%s\" has moved one place up.", escaped(provider.*field::name)));
    }

private:
    // Counted from 0.
    static std::size_t placeOf(VpnTokensController& controller, const ProviderInfo& provider) {
        std::vector<ProviderInfo> listed;
        if (!controller.EnumProviders(listed)) throw lastFailureError();
        const auto found = std::find_if(listed.begin(), listed.end(), [&provider](const ProviderInfo& one) {
            return one.*field::name == provider.*field::name;
        });
        return static_cast<std::size_t>(found - listed.begin());
    }
};

} // namespace

void addProviderVerbs(CLI::App& group, const Context& context) {
    addVerb<ProviderList>(group, context, "list", say("List the providers in their order"));
    addVerb<ProviderLoad>(group, context, "load", say("Load a PKCS#11 module as a provider"));
    addVerb<ProviderUnload>(group, context, "unload", say("Unload a provider"));
    addVerb<ProviderRaise>(group, context, "raise", say("Move a provider one place up in the order"));
}

} // namespace panelctl
