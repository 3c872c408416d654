// SPDX-License-Identifier: MIT
#include <panelkit/tokens/tokens_controller.h>

#include <panelkit/bridge/idle_hooks.h>
#include <panelkit/bridge/send_command.h>

using panelkit::Command;
using panelkit::DirectCommand;
using panelkit::LockedSession;
using panelkit::ProgressCommand;
using panelkit::readStatus;
using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;

VpnTokensController::~VpnTokensController() = default;
CLIVpnTokensController::~CLIVpnTokensController() = default;

void VpnTokensController::OnExecuteCommand(const SendCommandProgress&) { panelkit::yieldOnce(); }

bool VpnTokensController::EnumProviders(std::vector<ProviderInfo>& out) {
    std::string reply;
    if (!DirectCommand(Command::EnumProviders).send(&reply)) return false;
    CommandStreamIn(reply) >> out;
    return true;
}

bool VpnTokensController::EnumProviderTokens(const ProviderInfo* provider, std::vector<TokenInfo>& out) {
    DirectCommand command(Command::EnumProviderTokens);
    if (provider) command.with(*provider);
    std::string reply;
    if (!command.send(&reply)) return false;
    CommandStreamIn(reply) >> out;
    return true;
}

bool VpnTokensController::EnumProviderTokens(const ProviderInfo& provider, std::vector<TokenInfo>& out) {
    return EnumProviderTokens(&provider, out);
}

bool VpnTokensController::TokenLogin(const TokenInfo& token, const std::string& pin, bool flag,
                                     PinStateMessage* message) {
    std::string reply;
    if (!DirectCommand(Command::TokenLogin).with(token, pin, flag).send(&reply)) return false;
    if (readStatus(reply)) return true;
    if (message && reply.size() > 1) CommandStreamIn(reply, 1) >> *message;
    return false;
}

bool VpnTokensController::TokenLogout(const TokenInfo& token) {
    std::string reply;
    return DirectCommand(Command::TokenLogout).with(token).send(&reply);
}

bool VpnTokensController::TokenInitialize(const TokenInfo& token, const std::string& s1, const std::string& s2,
                                          const std::string& s3, bool flag) {
    const LockedSession session(SessionTokens);
    ProgressCommand command(Command::TokenInitialize, session.get(), *this);
    return command.with(token, s1, s2, s3, flag).execute() && readStatus(command.reply());
}

bool VpnTokensController::TokenChangePassword(const TokenInfo& token, const std::string& oldPin,
                                              const std::string& newPin, bool flag1, bool flag2) {
    std::string reply;
    return DirectCommand(Command::TokenChangePassword).with(token, oldPin, newPin, flag1, flag2).send(&reply) &&
           readStatus(reply);
}

bool VpnTokensController::ProviderLoad(ProviderInfo& provider) {
    DirectCommand command(Command::ProviderLoad);
    if (!command.session()) return false;
    command.with(provider);
    provider.flagB = false; // callers rely on it being clear whether or not the command gets through
    std::string reply;
    if (!command.send(&reply)) return false;
    const bool loaded = readStatus(reply);
    CommandStreamIn(reply, 1) >> provider;
    return loaded;
}

bool VpnTokensController::ProviderUnload(const ProviderInfo& provider) {
    return DirectCommand(Command::ProviderUnload).with(provider).send();
}

bool VpnTokensController::ProviderLevelUp(const ProviderInfo& provider) {
    return DirectCommand(Command::ProviderLevelUp).with(provider).send();
}

bool VpnTokensController::ReloadAll() {
    const LockedSession session(SessionTokens);
    return ProgressCommand(Command::TokensReloadAll, session.get(), *this).execute();
}

bool VpnTokensController::InitTokenRNG(const TokenInfo& token, const std::string& seed) {
    std::string reply;
    return DirectCommand(Command::InitTokenRNG).with(token, seed).send(&reply) && readStatus(reply);
}
