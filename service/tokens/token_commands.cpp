// SPDX-License-Identifier: MIT
#include <service/tokens/token_commands.h>

#include <service/base/call.h>
#include <service/base/refused.h>
#include <service/tokens/cryptoki.h>
#include <service/tokens/pin.h>

#include <platform/system/wipe.h>
#include <vocabulary/tokens.h>

#include <utility>

namespace panelkitd {

using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;
using platform::WipeOnExit;
using vocabulary::Refused;

namespace {

ProviderInfo readProvider(Call& call) {
    ProviderInfo provider;
    call.in >> provider;
    const std::string& path = provider.*vocabulary::provider::path;
    call.subject = "provider " + (path.empty() ? provider.*vocabulary::provider::name : path);
    return provider;
}

// Runs what tries a PIN; when that is refused, says what is known of the tries that remain.
template <class Work>
void withTriesTold(const HeldToken& token, PinOf whose, Work&& work) {
    try {
        work();
    } catch (const RefusedError& refused) {
        const auto pin = pinRemark(refused, token.flags(), whose);
        if (!pin) throw;
        throw RefusedError({{static_cast<std::uint32_t>(refused.reason), pin->phrase}});
    }
}

} // namespace

// ---- providers

std::string TokenCommands::enumProviders(Call& call) {
    std::vector<ProviderInfo> listed;
    for (const auto& provider : providers_.all()) {
        listed.push_back(provider->describe());
        const Remarks problem = provider->problem();
        if (problem.empty()) continue;
        const std::string& name = listed.back().*vocabulary::provider::name;
        call.remarks.push_back(remark(Refused::providerProblem, "the provider \"%s\" is not loaded", name));
        call.remarks.insert(call.remarks.end(), problem.begin(), problem.end());
    }
    return encoded(listed);
}

std::string TokenCommands::enumProviderTokens(Call& call) {
    if (call.in.size() > 0) return encoded(providers_.find(readProvider(call))->tokens());
    std::vector<TokenInfo> tokens;
    for (const auto& provider : providers_.all()) {
        std::vector<TokenInfo> more = provider->tokens();
        std::move(more.begin(), more.end(), std::back_inserter(tokens));
    }
    return encoded(tokens);
}

// A module that can't be loaded is answered with its record, which says why.
std::string TokenCommands::loadProvider(Call& call) {
    ProviderInfo info = readProvider(call);
    try {
        const std::shared_ptr<Provider> loaded = providers_.load(info);
        watcher_.providersChanged();
        return encoded(true, loaded->describe());
    } catch (const RefusedError& refused) {
        info.*vocabulary::provider::isLoaded = false;
        info.*vocabulary::provider::problem = refused.what();
        call.remarks = refused.remarks;
        return encoded(false, info);
    }
}

std::string TokenCommands::unloadProvider(Call& call) {
    providers_.unload(readProvider(call));
    watcher_.providersChanged();
    return {};
}

std::string TokenCommands::raiseProvider(Call& call) {
    providers_.raise(readProvider(call));
    return {};
}

std::string TokenCommands::reloadAll(Call&) {
    providers_.reload();
    watcher_.providersChanged();
    return {};
}

// ---- tokens

void TokenCommands::tell(void (TokenWatcher::*what)(const TokenInfo&), HeldToken& token) {
    try {
        (watcher_.*what)(token.info());
    } catch (const RefusedError&) {
        watcher_.providersChanged(); // it was pulled out this very moment; what was done is done
    }
}

std::string TokenCommands::login(Call& call) {
    const TokenInfo info = readToken(call);
    std::string pin;
    const WipeOnExit wiped(pin);
    bool mayBeFinal = false;
    call.in >> pin >> mayBeFinal;
    HeldToken token = providers_.hold(info);
    if (token.loggedIn()) return success;
    try {
        guardFinalTry(token.flags(), PinOf::user, mayBeFinal);
        token.login(pin);
        tell(&TokenWatcher::loginChanged, token);
        return success;
    } catch (const RefusedError& refused) {
        const auto why = pinRemark(refused, token.flags(), PinOf::user);
        if (!why) throw;
        call.remarks = {*why};
        return encoded(false, messageOf(*why));
    }
}

std::string TokenCommands::logout(Call& call) {
    HeldToken token = providers_.hold(readToken(call));
    token.logout();
    tell(&TokenWatcher::loginChanged, token);
    return {};
}

std::string TokenCommands::initialize(Call& call) {
    const TokenInfo info = readToken(call);
    std::string label, soPin, userPin;
    const WipeOnExit wipedSo(soPin), wipedUser(userPin);
    bool mayErase = false;
    call.in >> label >> soPin >> userPin >> mayErase;
    HeldToken token = providers_.hold(info);
    if ((token.flags() & CKF_TOKEN_INITIALIZED) && !mayErase) {
        throw RefusedError(Refused::wouldErase, "the token is initialised; what it holds would be erased");
    }
    try {
        withTriesTold(token, PinOf::securityOfficer, [&] { initializeToken(token, label, soPin, userPin); });
    } catch (const RefusedError&) {
        watcher_.providersChanged(); // a log-in may have ended, and the token may be erased all the same
        throw;
    }
    call.subject += " as \"" + label + "\"";
    tell(&TokenWatcher::initialized, token);
    return success;
}

std::string TokenCommands::changePin(Call& call) {
    const TokenInfo info = readToken(call);
    std::string oldPin, newPin;
    const WipeOnExit wipedOld(oldPin), wipedNew(newPin);
    bool ofSecurityOfficer = false, mayBeFinal = false;
    call.in >> oldPin >> newPin >> ofSecurityOfficer >> mayBeFinal;
    const PinOf whose = ofSecurityOfficer ? PinOf::securityOfficer : PinOf::user;
    HeldToken token = providers_.hold(info);
    guardFinalTry(token.flags(), whose, mayBeFinal);
    withTriesTold(token, whose, [&] { setPin(token, whose, oldPin, newPin); });
    return success;
}

std::string TokenCommands::seedRandom(Call& call) {
    const TokenInfo info = readToken(call);
    std::string seed;
    const WipeOnExit wiped(seed);
    call.in >> seed;
    HeldToken token = providers_.hold(info);
    const auto session = token.openSession(TokenSession::Mode::readOnly);
    check(token.library()->C_SeedRandom(session->handle(), mutableBytes(seed), static_cast<CK_ULONG>(seed.size())),
          "C_SeedRandom");
    return success;
}

} // namespace panelkitd
