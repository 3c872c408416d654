// SPDX-License-Identifier: MIT
#include <service/tokens/providers.h>

#include <service/base/log.h>
#include <service/base/refused.h>
#include <service/modules/host_process.h>
#include <service/modules/trusted_file.h>

#include <platform/system/files.h>
#include <platform/system/folders.h>
#include <platform/text/utf8_path.h>
#include <vocabulary/tokens.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <thread>
#include <utility>

namespace panelkitd {

using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;
using vocabulary::Refused;
namespace field = vocabulary::provider;

namespace {

constexpr const char* fileName = "providers.json";
constexpr const char* embeddedName = "embedded";

// Returns the path with all links resolved. Modules are compared by path, so each must have only one.
std::string resolved(const std::string& path) {
    try {
        return platform::canonicalPath(path);
    } catch (const platform::FileError&) {
        return path;
    }
}

ProviderOptions withResolvedPaths(ProviderOptions options) {
    if (!options.embeddedModule.empty()) options.embeddedModule = resolved(options.embeddedModule);
    for (std::string& path : options.allowed) path = resolved(path);
    return options;
}

// Returns the wanted name or, if that is empty, the name of the file without "lib" and its extension. A number is added
// when the name is taken.
std::string freeName(const std::vector<std::shared_ptr<Provider>>& list, const std::string& wanted,
                     const std::string& path) {
    std::string base = wanted;
    if (base.empty()) base = platform::fromPath(platform::toPath(path).stem());
    if (wanted.empty() && base.rfind("lib", 0) == 0) base.erase(0, 3);
    std::string name = base;
    const auto taken = [&] {
        return std::any_of(list.begin(), list.end(), [&](const auto& p) { return p->settings().name == name; });
    };
    for (int number = 2; taken(); ++number) name = base + " " + std::to_string(number);
    return name;
}

// Reads the file's list. Throws nlohmann::json::exception.
std::vector<Provider::Settings> readList(const std::string& text) {
    const nlohmann::json stored = nlohmann::json::parse(text);
    std::vector<Provider::Settings> list;
    for (const nlohmann::json& entry : stored.at("providers")) {
        if (entry.value("embedded", false)) {
            list.push_back({embeddedName, {}, true, true});
        } else {
            list.push_back({entry.at("name"), entry.at("path"), true, false});
        }
    }
    return list;
}

StateForm listForm() {
    return {.name = fileName, .check = [](const std::string& text) { readList(text); }};
}

} // namespace

Providers::Providers(const StateFolder& state, ProviderOptions options)
    : file_(state, listForm()), options_(withResolvedPaths(std::move(options))), list_(listed()) {
    loadAll(all());
}

std::shared_ptr<Provider> Providers::made(Provider::Settings settings) const {
    auto environment = hostEnvironment();
    if (settings.embedded) {
        for (const auto& [name, value] : options_.embeddedEnvironment) environment[name] = value;
    }
    return std::make_shared<Provider>(std::move(settings), std::move(environment), options_.limits, options_.loggedIn);
}

// The file keeps the order of the providers. The embedded provider is in it too, except at the first start.
Providers::List Providers::listed() {
    const std::string stored = file_.load();
    bool embeddedListed = options_.embeddedModule.empty();
    List list;
    for (Provider::Settings& settings : stored.empty() ? std::vector<Provider::Settings>() : readList(stored)) {
        if (settings.embedded && std::exchange(embeddedListed, true)) continue;
        if (settings.embedded) settings.path = options_.embeddedModule;
        list.push_back(made(std::move(settings)));
    }
    if (!embeddedListed) list.push_back(made({embeddedName, options_.embeddedModule, true, true}));
    return list;
}

// The embedded module is part of the installation; the path of any other is checked at every start.
void Providers::loadOne(const std::shared_ptr<Provider>& provider) const {
    try {
        if (!provider->settings().embedded) checkedModulePath(provider->settings().path, options_.allowed);
        provider->load();
    } catch (const std::exception& error) {
        provider->setProblem(explained(error));
        logError("provider " + provider->settings().name + ": " + error.what());
    }
}

// Loads all providers at the same time. So when several modules hang, their time limits pass together and not one after
// the other.
void Providers::loadAll(const List& list) const {
    std::vector<std::thread> threads;
    for (const auto& provider : list) {
        try {
            threads.emplace_back([this, &provider] { loadOne(provider); });
        } catch (const std::system_error&) { // no thread can be had
            loadOne(provider);
        }
    }
    for (std::thread& thread : threads) thread.join();
}

// Stores the new list and then uses it. When it can't be stored, throws RefusedError, and the old list stays.
void Providers::adopt(List changed) {
    nlohmann::json entries = nlohmann::json::array();
    for (const auto& provider : changed) {
        const Provider::Settings& settings = provider->settings();
        if (settings.embedded) {
            entries.push_back({{"embedded", true}});
        } else if (settings.remembered) {
            entries.push_back({{"name", settings.name}, {"path", settings.path}});
        }
    }
    try {
        file_.writeJson({{"providers", entries}});
    } catch (const platform::FileError&) {
        throw RefusedError(Refused::notStored, "the service can't store the list of providers; its log says why");
    }
    *list_.lock() = std::move(changed);
}

std::vector<std::shared_ptr<Provider>> Providers::all() const { return *list_.lock(); }

std::shared_ptr<Provider> Providers::find(const ProviderInfo& info) const {
    const std::string& path = info.*field::path;
    const auto list = list_.lock();
    const auto found = std::find_if(list->begin(), list->end(), [&](const auto& provider) {
        return path.empty() ? provider->settings().name == info.*field::name : provider->settings().path == path;
    });
    if (found == list->end()) {
        throw RefusedError(Refused::noSuchProvider, "there is no provider \"%s\"",
                           path.empty() ? info.*field::name : path);
    }
    return *found;
}

std::shared_ptr<Provider> Providers::load(const ProviderInfo& info) {
    const std::scoped_lock loading(loading_);
    file_.requireUsable(); // first, so that no module is loaded or unloaded for a change that can't be stored
    const std::string path = checkedModulePath(info.*field::path, options_.allowed);
    List changed = all();
    const auto same =
        std::find_if(changed.begin(), changed.end(), [&](const auto& p) { return p->settings().path == path; });
    if (same != changed.end() && (*same)->describe().*field::isLoaded) {
        throw RefusedError(Refused::alreadyLoaded, "the module is loaded already, as provider \"%s\", from %s",
                           (*same)->settings().name, path);
    }
    if (same != changed.end()) changed.erase(same); // it could not be loaded before; this is a new attempt
    const std::string name = freeName(changed, info.*field::name, path);
    auto provider = made({name, path, info.*field::isRemembered, false});
    if (!provider->load()) throw RefusedError(Refused::moduleUnfit, provider->problem());
    changed.push_back(provider);
    adopt(std::move(changed));
    return provider;
}

void Providers::unload(const ProviderInfo& info) {
    const std::scoped_lock loading(loading_);
    file_.requireUsable();
    const std::shared_ptr<Provider> provider = find(info);
    if (provider->settings().embedded) {
        throw RefusedError(Refused::embeddedProvider, "the embedded provider can't be unloaded");
    }
    List changed = all();
    std::erase(changed, provider);
    adopt(std::move(changed));
    provider->unload();
}

void Providers::raise(const ProviderInfo& info) {
    const std::scoped_lock loading(loading_);
    file_.requireUsable();
    const std::shared_ptr<Provider> provider = find(info);
    List changed = all();
    const auto place = std::find(changed.begin(), changed.end(), provider);
    if (place == changed.begin() || place == changed.end()) return; // the first can't rise further
    std::iter_swap(place, place - 1);
    adopt(std::move(changed));
}

void Providers::killModules() const {
    for (const auto& provider : all()) provider->kill();
}

void Providers::reload() {
    const std::scoped_lock loading(loading_);
    loadAll(all());
}

HeldToken Providers::hold(const TokenInfo& token) const {
    const std::string& name = token.*vocabulary::token::provider;
    for (const auto& provider : all()) {
        if (provider->settings().name == name) return provider->hold(token);
    }
    throw RefusedError(Refused::noSuchProvider, "the token's provider \"%s\" is not there", name);
}

} // namespace panelkitd
