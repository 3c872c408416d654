// SPDX-License-Identifier: MIT
//
// The providers of the service, in their order: the embedded one, and those that administrators have loaded. Order and
// the providers to remember are kept in the state folder. A change that can't be stored there is not carried out.
#pragma once

#include <service/state/state_file.h>
#include <service/tokens/held_token.h>

#include <platform/system/guarded.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace panelkitd {

struct ProviderOptions {
    std::string embeddedModule;       // path of the module behind the embedded provider; empty: none
    std::vector<std::string> allowed; // modules that may be loaded although their path breaks the rules
    std::map<std::string, std::string> embeddedEnvironment; // that the embedded module needs beside the usual one
    ModuleLimits limits;
    Provider::LoginHook loggedIn; // may be null
};

// Any thread may call it.
class Providers {
public:
    // Loads the embedded provider and the remembered ones. A provider that can't be loaded stays in the list, with its
    // problem.
    Providers(const StateFolder& state, ProviderOptions options);

    std::vector<std::shared_ptr<Provider>> all() const;

    // What the embedded module needs in its environment, beside the usual one.
    const std::map<std::string, std::string>& embeddedEnvironment() const { return options_.embeddedEnvironment; }

    // Returns what is wrong with the stored list; empty when nothing is.
    Remarks storageRemarks() const { return file_.remarks(); }

    // Returns the provider with the path of the record, or with its name when the record has no path. Throws
    // RefusedError when there is none.
    std::shared_ptr<Provider> find(const PKCS11::ProviderInfo& info) const;

    // Checks and loads a module, and adds it at the end of the list. Throws RefusedError when the module can't be
    // loaded. load(), unload() and raise() throw RefusedError when the changed list can't be stored.
    std::shared_ptr<Provider> load(const PKCS11::ProviderInfo& info);
    // Removes a provider from the list and ends its module. Refuses to remove the embedded provider.
    void unload(const PKCS11::ProviderInfo& info);
    // Moves a provider one place towards the start of the list. The first one stays where it is.
    void raise(const PKCS11::ProviderInfo& info);

    // Kills the processes of all modules, even while commands are running. Called when the service ends.
    void killModules() const;

    // Loads all modules again, which ends every log-in.
    void reload();

    // Waits until no other thread uses the module of the token, and returns the token. Throws RefusedError as
    // Provider::hold() does, and when the token's provider is not in the list.
    HeldToken hold(const PKCS11::TokenInfo& token) const;

private:
    using List = std::vector<std::shared_ptr<Provider>>;

    List listed();
    std::shared_ptr<Provider> made(Provider::Settings settings) const;
    void loadOne(const std::shared_ptr<Provider>& provider) const;
    void loadAll(const List& list) const;
    void adopt(List changed);

    StateFile file_;
    const ProviderOptions options_;
    std::mutex loading_; // one change of the list at a time: loading takes long
    platform::Guarded<List> list_;
};

} // namespace panelkitd
