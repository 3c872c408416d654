// SPDX-License-Identifier: MIT
#include <service/tokens/providers.h>

#include <service/log.h>
#include <service/refused.h>
#include <service/tokens/module_path.h>
#include <service/tokens/probe.h>

#include <platform/system/utf8_path.h>
#include <vocabulary/tokens.h>

#include <nlohmann/json.hpp>

#include <algorithm>

namespace panelkitd {

using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;
using vocabulary::Refused;
namespace field = vocabulary::provider;

namespace {

constexpr const char* fileName = "providers.json";
constexpr int fileFormat = 1;
constexpr const char* embeddedName = "embedded";

// Modules are compared by path, so each has one: with all links resolved.
std::string resolved(const std::string& path) {
    std::error_code error;
    const std::filesystem::path canonical = std::filesystem::canonical(platform::toPath(path), error);
    return error ? path : platform::fromPath(canonical);
}

ProviderOptions withResolvedPaths(ProviderOptions options) {
    if (!options.embeddedModule.empty()) options.embeddedModule = resolved(options.embeddedModule);
    for (std::string& path : options.allowed) path = resolved(path);
    return options;
}

} // namespace

Providers::Providers(const StateFolder& state, ProviderOptions options)
    : state_(state), options_(withResolvedPaths(std::move(options))) {
    loadRemembered();
}

// The list on disk has the order; the embedded provider is in it too, unless this is the first start.
void Providers::loadRemembered() {
    const auto stored = state_.readJson(fileName, fileFormat);
    bool embeddedListed = options_.embeddedModule.empty();
    const auto addEmbedded = [&] {
        list_.push_back(
            std::make_shared<Provider>(Provider::Settings{embeddedName, options_.embeddedModule, true, true}));
        embeddedListed = true;
    };
    if (stored) {
        for (const nlohmann::json& entry : stored->value("providers", nlohmann::json::array())) {
            if (!entry.value("embedded", false)) {
                const Provider::Settings settings{entry.value("name", ""), entry.value("path", ""), true, false};
                list_.push_back(std::make_shared<Provider>(settings));
            } else if (!embeddedListed) {
                addEmbedded();
            }
        }
    }
    if (!embeddedListed) addEmbedded();
    for (const auto& provider : list_) loadOne(provider);
}

// The embedded module is part of the installation; any other is checked and tried out at every start.
void Providers::loadOne(const std::shared_ptr<Provider>& provider) const {
    try {
        if (!provider->settings().embedded) {
            probeModule(checkedModulePath(provider->settings().path, options_.allowed), options_.probeDeadline);
        }
        provider->load();
    } catch (const RefusedError& refused) {
        provider->setProblem(refused.what());
        logError("provider " + provider->settings().name + ": " + refused.what());
    }
}

void Providers::save() const {
    nlohmann::json entries = nlohmann::json::array();
    for (const auto& provider : list_) {
        const Provider::Settings& settings = provider->settings();
        if (settings.embedded) {
            entries.push_back({{"embedded", true}});
        } else if (settings.remembered) {
            entries.push_back({{"name", settings.name}, {"path", settings.path}});
        }
    }
    state_.writeJson(fileName, fileFormat, {{"providers", entries}});
}

std::vector<std::shared_ptr<Provider>> Providers::all() const {
    const std::scoped_lock lock(mutex_);
    return list_;
}

std::shared_ptr<Provider> Providers::find(const ProviderInfo& info) const {
    const std::string& path = info.*field::path;
    const std::scoped_lock lock(mutex_);
    const auto found = std::find_if(list_.begin(), list_.end(), [&](const auto& provider) {
        return path.empty() ? provider->settings().name == info.*field::name : provider->settings().path == path;
    });
    if (found == list_.end()) {
        throw RefusedError(Refused::noSuchProvider,
                           "there is no provider \"" + (path.empty() ? info.*field::name : path) + "\"");
    }
    return *found;
}

// The wanted name, or the file's without "lib" and ending, with a number behind it when it is taken; mutex_ is held.
std::string Providers::freeName(const std::string& wanted, const std::string& path) const {
    std::string base = wanted;
    if (base.empty()) base = platform::fromPath(platform::toPath(path).stem());
    if (wanted.empty() && base.rfind("lib", 0) == 0) base.erase(0, 3);
    std::string name = base;
    const auto taken = [&] {
        return std::any_of(list_.begin(), list_.end(), [&](const auto& p) { return p->settings().name == name; });
    };
    for (int number = 2; taken(); ++number) name = base + " " + std::to_string(number);
    return name;
}

std::shared_ptr<Provider> Providers::load(const ProviderInfo& info) {
    const std::scoped_lock loading(loading_);
    const std::string path = checkedModulePath(info.*field::path, options_.allowed);
    {
        const std::scoped_lock lock(mutex_);
        const auto same =
            std::find_if(list_.begin(), list_.end(), [&](const auto& p) { return p->settings().path == path; });
        if (same != list_.end() && (*same)->describe().*field::isLoaded) {
            throw RefusedError(Refused::alreadyLoaded,
                               "the module is loaded already, as provider \"" + (*same)->settings().name + "\"");
        }
        if (same != list_.end()) list_.erase(same); // it could not be loaded before; this is a new attempt
    }
    probeModule(path, options_.probeDeadline);
    std::unique_lock lock(mutex_);
    const std::string name = freeName(info.*field::name, path);
    lock.unlock();
    auto provider = std::make_shared<Provider>(Provider::Settings{name, path, info.*field::isRemembered, false});
    if (!provider->load()) throw RefusedError(Refused::moduleUnfit, provider->describe().*field::problem);
    lock.lock();
    list_.push_back(provider);
    save();
    return provider;
}

void Providers::unload(const ProviderInfo& info) {
    const std::scoped_lock loading(loading_);
    const std::shared_ptr<Provider> provider = find(info);
    if (provider->settings().embedded) {
        throw RefusedError(Refused::embeddedProvider, "the embedded provider can't be unloaded");
    }
    {
        const std::scoped_lock lock(mutex_);
        list_.erase(std::find(list_.begin(), list_.end(), provider));
        save();
    }
    provider->unload();
}

void Providers::raise(const ProviderInfo& info) {
    const std::shared_ptr<Provider> provider = find(info);
    const std::scoped_lock lock(mutex_);
    const auto place = std::find(list_.begin(), list_.end(), provider);
    if (place == list_.begin() || place == list_.end()) return; // the first can't rise further
    std::iter_swap(place, place - 1);
    save();
}

void Providers::reload() {
    const std::scoped_lock loading(loading_);
    for (const auto& provider : all()) loadOne(provider);
}

HeldToken Providers::hold(const TokenInfo& token) const {
    const std::string& name = token.*vocabulary::token::provider;
    for (const auto& provider : all()) {
        if (provider->settings().name == name) return provider->hold(token);
    }
    throw RefusedError(Refused::noSuchProvider, "the token's provider \"" + name + "\" is not there");
}

} // namespace panelkitd
