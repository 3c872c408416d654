// SPDX-License-Identifier: MIT
#include <service/tokens/token_commands.h>

#include <service/base/call.h>
#include <service/base/refused.h>

#include <panelkit/bridge/payload.h>
#include <platform/system/secret.h>
#include <platform/text/escape.h>
#include <vocabulary/tokens.h>

#include <utility>

namespace panelkitd {

using panelkit::Command;
using panelkit::encodeReply;
using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;
using vocabulary::Refused;
namespace title = vocabulary::pinTitle;

namespace {

ProviderInfo readProvider(Call& call) {
    ProviderInfo provider;
    call.in >> provider;
    const std::string& path = provider.*vocabulary::provider::path;
    call.subject = "provider " + platform::quotedName(path.empty() ? provider.*vocabulary::provider::name : path);
    return provider;
}

// Returns the title and the text about a refused PIN, for the reply to a log-in.
PinStateMessage messageOf(const bridge::Remark& pin) {
    const char* head = title::wrongPin;
    if (pin.code == static_cast<std::uint32_t>(Refused::pinLocked)) head = title::locked;
    if (pin.code == static_cast<std::uint32_t>(Refused::finalTry)) head = title::finalTry;
    return {head, Loc::fill(pin.phrase)};
}

bool isAboutPin(Refused reason) {
    return reason == Refused::wrongPin || reason == Refused::pinLocked || reason == Refused::finalTry;
}

} // namespace

// ---- providers

std::string TokenCommands::enumProviders(Call& call) {
    std::vector<ProviderInfo> listed;
    call.remarks = providers_.storageRemarks();
    for (const auto& provider : providers_.all()) {
        listed.push_back(provider->describe());
        const Remarks problem = provider->problem();
        if (problem.empty()) continue;
        const std::string& name = listed.back().*vocabulary::provider::name;
        call.remarks.push_back(remark(Refused::providerProblem, "the provider \"%s\" is not loaded", name));
        call.remarks.insert(call.remarks.end(), problem.begin(), problem.end());
    }
    return encodeReply<Command::EnumProviders>(listed);
}

std::string TokenCommands::enumProviderTokens(Call& call) {
    std::vector<std::shared_ptr<Provider>> asked;
    if (call.in.size() > 0) {
        asked = {providers_.find(readProvider(call))};
    } else {
        asked = providers_.all();
    }
    std::vector<TokenInfo> tokens;
    for (const auto& provider : asked) {
        const SeenTokens seen = provider->tokens();
        tokens.insert(tokens.end(), seen.tokens.begin(), seen.tokens.end());
        for (const UnseenTokens& some : seen.unseen) {
            call.remarks.insert(call.remarks.end(), some.why.begin(), some.why.end());
        }
    }
    return encodeReply<Command::EnumProviderTokens>(tokens);
}

// When a module can't be loaded, the reply has the provider's record, which says why.
std::string TokenCommands::loadProvider(Call& call) {
    ProviderInfo info = readProvider(call);
    try {
        const std::shared_ptr<Provider> loaded = providers_.load(info);
        watcher_.providersChanged();
        return encodeReply<Command::ProviderLoad>(true, loaded->describe());
    } catch (const RefusedError& refused) {
        info.*vocabulary::provider::isLoaded = false;
        info.*vocabulary::provider::problem = refused.what();
        call.remarks = refused.remarks;
        return encodeReply<Command::ProviderLoad>(false, info);
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
    const platform::LockedPages request(call.in.rest());
    HostLogin wish;
    readRequest<Command::TokenLogin, 1>(call, wish.pin, wish.mayBeFinal);
    HeldToken token = providers_.hold(info);
    try {
        token.login(wish, call.account());
        tell(&TokenWatcher::loginChanged, token);
        return encodeReply<Command::TokenLogin>(true);
    } catch (const RefusedError& refused) {
        if (!isAboutPin(refused.reason)) throw;
        call.remarks = refused.remarks;
        return encodeReply<Command::TokenLogin>(false, messageOf(refused.remarks.front()));
    }
}

std::string TokenCommands::logout(Call& call) {
    HeldToken token = providers_.hold(readToken(call));
    token.logout(call.account());
    tell(&TokenWatcher::loginChanged, token);
    return {};
}

std::string TokenCommands::initialize(Call& call) {
    const TokenInfo info = readToken(call);
    const platform::LockedPages request(call.in.rest());
    HostInitialization wish;
    readRequest<Command::TokenInitialize, 1>(call, wish.label, wish.soPin, wish.userPin, wish.mayErase);
    HeldToken token = providers_.hold(info);
    try {
        token.initialize(wish, call.account());
    } catch (const RefusedError&) {
        watcher_.providersChanged(); // a log-in may have ended, and the token may be erased all the same
        throw;
    }
    call.subject += " as " + platform::quotedName(wish.label);
    tell(&TokenWatcher::initialized, token);
    return encodeReply<Command::TokenInitialize>(true);
}

std::string TokenCommands::changePin(Call& call) {
    const TokenInfo info = readToken(call);
    const platform::LockedPages request(call.in.rest());
    HostPinChange change;
    bool ofSecurityOfficer = false;
    readRequest<Command::TokenChangePassword, 1>(call, change.oldPin, change.newPin, ofSecurityOfficer,
                                                 change.mayBeFinal);
    if (ofSecurityOfficer) change.whose = PinOf::securityOfficer;
    providers_.hold(info).changePin(change);
    return encodeReply<Command::TokenChangePassword>(true);
}

std::string TokenCommands::seedRandom(Call& call) {
    const TokenInfo info = readToken(call);
    const platform::LockedPages request(call.in.rest());
    platform::Secret seed;
    readRequest<Command::InitTokenRNG, 1>(call, seed);
    providers_.hold(info).seed(seed);
    return encodeReply<Command::InitTokenRNG>(true);
}

} // namespace panelkitd
