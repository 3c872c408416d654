// SPDX-License-Identifier: MIT
#include <service/engine/engine_wishes.h>

#include <algorithm>

namespace panelkitd {

void EngineWishes::learn(const EngineCredentials& read) {
    std::vector<EnginePresharedKey> former = std::move(credentials.presharedKeys);
    credentials = read;
    for (EnginePresharedKey& key : former) {
        const auto isIts = [&](const EngineToken& token) { return token.is(key.token); };
        const bool unread = std::any_of(read.keysUnread.begin(), read.keysUnread.end(), isIts);
        if (unread) credentials.presharedKeys.push_back(std::move(key));
    }
}

void EngineWishes::forget(const EngineToken& token) {
    std::erase_if(logins, [&](const Login& login) { return login.token.is(token); });
    std::erase_if(credentials.presharedKeys, [&](const auto& key) { return key.token.is(token); });
}

const EngineWishes::Login* EngineWishes::login(const EngineToken& token) const {
    const auto found =
        std::find_if(logins.begin(), logins.end(), [&](const Login& login) { return login.token.is(token); });
    return found == logins.end() ? nullptr : &*found;
}

EngineCredentials EngineWishes::usable() const {
    EngineCredentials usable = credentials;
    for (EngineCertificate& certificate : usable.certificates) {
        const bool wasSeen = certificate.hasPrivateKey;
        certificate.tokenIsOpen = !certificate.needsLogin || login(certificate.token);
        if (!wasSeen && certificate.needsLogin) certificate.hasPrivateKey = certificate.tokenIsOpen;
    }
    return usable;
}

} // namespace panelkitd
