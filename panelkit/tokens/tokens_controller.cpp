// SPDX-License-Identifier: MIT
#include <panelkit/tokens/tokens_controller.h>

#include <panelkit/bridge/idle_hooks.h>
#include <panelkit/bridge/send_command.h>

using panelkit::Command;
using panelkit::DirectCommand;
using panelkit::LockedSession;
using panelkit::ProgressCommand;
using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;

VpnTokensController::~VpnTokensController() = default;
CLIVpnTokensController::~CLIVpnTokensController() = default;

void VpnTokensController::OnExecuteCommand(const SendCommandProgress&) { panelkit::yieldOnce(); }

bool VpnTokensController::EnumProviders(std::vector<ProviderInfo>& out) {
    DirectCommand<Command::EnumProviders> command;
    std::string reply;
    if (!command.send(&reply)) return false;
    command.read(reply, out);
    return true;
}

bool VpnTokensController::EnumProviderTokens(const ProviderInfo* provider, std::vector<TokenInfo>& out) {
    DirectCommand<Command::EnumProviderTokens> command;
    if (provider) command.with(*provider);
    std::string reply;
    if (!command.send(&reply)) return false;
    command.read(reply, out);
    return true;
}

bool VpnTokensController::EnumProviderTokens(const ProviderInfo& provider, std::vector<TokenInfo>& out) {
    return EnumProviderTokens(&provider, out);
}

bool VpnTokensController::TokenLogin(const TokenInfo& token, const std::string& pin, bool flag,
                                     PinStateMessage* message) {
    DirectCommand<Command::TokenLogin> command;
    std::string reply;
    if (!command.with(token, pin, flag).send(&reply)) return false;
    bool done = false;
    command.read(reply, done);
    if (!done && message && reply.size() > 1) command.read(reply, done, *message);
    return done;
}

bool VpnTokensController::TokenLogout(const TokenInfo& token) {
    std::string reply;
    return DirectCommand<Command::TokenLogout>().with(token).send(&reply);
}

bool VpnTokensController::TokenInitialize(const TokenInfo& token, const std::string& s1, const std::string& s2,
                                          const std::string& s3, bool flag) {
    const LockedSession session(SessionTokens);
    ProgressCommand<Command::TokenInitialize> command(session.get(), *this);
    return command.with(token, s1, s2, s3, flag).execute() && command.readStatus();
}

bool VpnTokensController::TokenChangePassword(const TokenInfo& token, const std::string& oldPin,
                                              const std::string& newPin, bool flag1, bool flag2) {
    DirectCommand<Command::TokenChangePassword> command;
    std::string reply;
    return command.with(token, oldPin, newPin, flag1, flag2).send(&reply) && command.readStatus(reply);
}

bool VpnTokensController::ProviderLoad(ProviderInfo& provider) {
    DirectCommand<Command::ProviderLoad> command;
    if (!command.session()) return false;
    command.with(provider);
    provider.flagB = false; // callers rely on this whether or not the command succeeds
    std::string reply;
    if (!command.send(&reply)) return false;
    bool loaded = false;
    command.read(reply, loaded, provider);
    return loaded;
}

bool VpnTokensController::ProviderUnload(const ProviderInfo& provider) {
    return DirectCommand<Command::ProviderUnload>().with(provider).send();
}

bool VpnTokensController::ProviderLevelUp(const ProviderInfo& provider) {
    return DirectCommand<Command::ProviderLevelUp>().with(provider).send();
}

bool VpnTokensController::ReloadAll() {
    const LockedSession session(SessionTokens);
    return ProgressCommand<Command::TokensReloadAll>(session.get(), *this).execute();
}

bool VpnTokensController::InitTokenRNG(const TokenInfo& token, const std::string& seed) {
    DirectCommand<Command::InitTokenRNG> command;
    std::string reply;
    return command.with(token, seed).send(&reply) && command.readStatus(reply);
}
