// SPDX-License-Identifier: MIT
#include <service/tokens/unattended_logins.h>

#include <service/base/log.h>
#include <service/modules/trusted_file.h>
#include <service/tokens/held_token.h>

#include <platform/system/wipe.h>
#include <platform/text/escape.h>
#include <vocabulary/tokens.h>

namespace panelkitd {

using PKCS11::TokenInfo;
using vocabulary::Refused;
namespace field = vocabulary::token;

void UnattendedLogins::see(Provider& provider, const std::vector<TokenInfo>& tokens, const Tell& tell) {
    std::set<Key> present;
    for (const TokenInfo& token : tokens) {
        present.emplace(token.*field::provider, token.*field::serial);
        if (isDue(token, provider.incarnation())) login(provider, token, tell);
    }
    std::erase_if(seen_, [&](const auto& seen) {
        return seen.first.first == provider.settings().name && !present.contains(seen.first);
    });
}

bool UnattendedLogins::isDue(const TokenInfo& token, std::uint64_t incarnation) {
    const auto file = pinFiles_.find(token.*field::label);
    if (file == pinFiles_.end() || !(token.flags & vocabulary::tokenFlag::initialized)) return false;
    const auto [seen, isNew] = seen_.emplace(Key(token.*field::provider, token.*field::serial), 0);
    if (seen->second == incarnation) return false;
    seen->second = incarnation;
    return !(token.flags & vocabulary::tokenFlag::loggedIn) && !wrongPinFiles_.contains(file->second);
}

void UnattendedLogins::login(Provider& provider, const TokenInfo& token, const Tell& tell) {
    const std::string& path = pinFiles_.at(token.*field::label);
    try {
        HostLogin login{readPinFile(path), false};
        HeldToken held = provider.hold(token);
        held.login(login, Account());
        logEvent("logged in to token " + platform::quotedName(token.*field::label) + " with the PIN of " + path);
        tell(held.info());
    } catch (const RefusedError& refused) {
        if (refused.reason == Refused::wrongPin || refused.reason == Refused::pinLocked) wrongPinFiles_.insert(path);
        logError("not logged in to token " + platform::quotedName(token.*field::label) + " with the PIN of " + path +
                 ": " + refused.what());
    }
}

} // namespace panelkitd
