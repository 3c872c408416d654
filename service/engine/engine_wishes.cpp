// SPDX-License-Identifier: MIT
#include <service/engine/engine_wishes.h>

#include <algorithm>

namespace panelkitd {

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
