// SPDX-License-Identifier: MIT
//
// Module 6: the commands on providers and tokens. Each handler reads its request, does the work, and returns the
// payload of the reply.
#pragma once

#include <service/base/call.h>
#include <service/tokens/providers.h>
#include <service/tokens/token_watcher.h>

#include <string>

namespace panelkitd {

class TokenCommands {
public:
    TokenCommands(Providers& providers, TokenWatcher& watcher) : providers_(providers), watcher_(watcher) {}

    void killModules() const { providers_.killModules(); }

    std::string enumProviders(Call& call);
    std::string enumProviderTokens(Call& call);
    std::string loadProvider(Call& call);
    std::string unloadProvider(Call& call);
    std::string raiseProvider(Call& call);
    std::string reloadAll(Call& call);

    std::string login(Call& call);
    std::string logout(Call& call);
    std::string initialize(Call& call);
    std::string changePin(Call& call);
    std::string seedRandom(Call& call);

private:
    void tell(void (TokenWatcher::*what)(const PKCS11::TokenInfo&), HeldToken& token);

    Providers& providers_;
    TokenWatcher& watcher_;
};

} // namespace panelkitd
