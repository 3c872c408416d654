// SPDX-License-Identifier: MIT
#include <panelkit/monitor/monitor_controller.h>

#include <panelkit/bridge/idle_hooks.h>
#include <panelkit/bridge/send_command.h>

#include <utility>

using PKCS11::TokenInfo;

namespace panelkit {

namespace {

// Sends a command that may name a token, or none for all of them.
template <Command command>
bool executeFor(ProgressCommand<command>& ready, const TokenInfo* token) {
    if (token) ready.with(*token);
    return ready.execute();
}

} // namespace

MonitorController::~MonitorController() = default;

void MonitorController::OnExecuteCommand(const SendCommandProgress&) { yieldOnce(); }

bool MonitorController::GetStates(std::vector<ProviderState>& providers, std::vector<TokenState>& tokens) {
    const LockedSession session(SessionMonitor);
    ProgressCommand<Command::GetStates> command(session.get(), *this);
    if (!command.execute()) return false;
    command.read(providers, tokens);
    return true;
}

// ---- keys

bool MonitorController::EnumKeys(const TokenInfo* token, std::vector<KeyInfo>& keys, std::vector<TokenInfo>& tokens) {
    const LockedSession session(SessionMonitor);
    ProgressCommand<Command::EnumKeys> command(session.get(), *this);
    if (!executeFor(command, token)) return false;
    CommandStreamIn in(command.reply(), CommandStreamIn::Counts::mustFit);
    const auto count = in.readCount(leastWireSize<TokenInfo>() + leastWireSize<KeyInfo>());
    keys.resize(count);
    tokens.resize(count);
    for (std::uint32_t i = 0; i < count; ++i) in >> tokens[i] >> keys[i];
    return true;
}

bool MonitorController::GetPublicKey(const TokenInfo& token, const KeyInfo& key, std::string& pem) {
    const LockedSession session(SessionMonitor);
    ProgressCommand<Command::GetPublicKey> command(session.get(), *this);
    if (!command.with(token, key).execute()) return false;
    command.read(pem);
    return true;
}

bool MonitorController::GenerateKey(const TokenInfo& token, std::uint32_t keyType, std::uint32_t keyBits,
                                    const std::string& label, KeyInfo& made) {
    const LockedSession session(SessionMonitor);
    if (!session.get()) return false;
    const UnlimitedWait waiting(*session.get());
    ProgressCommand<Command::GenerateKey> command(session.get(), *this);
    if (!command.with(token, keyType, keyBits, label).execute()) return false;
    command.read(made);
    return true;
}

bool MonitorController::DeleteKey(const TokenInfo& token, const KeyInfo& key) {
    const LockedSession session(SessionMonitor);
    return ProgressCommand<Command::DeleteKey>(session.get(), *this).with(token, key).execute();
}

bool MonitorController::DeleteCertificateWithKey(const TokenInfo& token, const CertInfo& certificate) {
    const LockedSession session(SessionMonitor);
    ProgressCommand<Command::DeleteCertAndKey> command(session.get(), *this);
    return command.with(token, certificate).execute();
}

bool MonitorController::MakeCertRequestWithPin(const TokenInfo& token, const CertRequestInfo& info,
                                               const std::string& pin, MakeCertRequestResult& result,
                                               std::string& request) {
    const LockedSession session(SessionMonitor);
    if (!session.get()) return false;
    const UnlimitedWait waiting(*session.get());
    ProgressCommand<Command::MakeCertRequestWithPin> command(session.get(), *this);
    if (!command.with(token, info, pin).execute()) return false;
    command.read(result, request);
    return true;
}

// ---- labels

bool MonitorController::EnumCertLabels(const TokenInfo* token, std::vector<TokenLabels>& labels) {
    const LockedSession session(SessionMonitor);
    ProgressCommand<Command::EnumCertLabels> command(session.get(), *this);
    if (!executeFor(command, token)) return false;
    command.read(labels);
    return true;
}

// ---- settings

bool MonitorController::GetUncommitted(std::vector<UncommittedValue>& values) {
    DirectCommand<Command::GetUncommitted> command;
    std::string reply;
    if (!command.send(&reply)) return false;
    command.read(reply, values);
    return true;
}

bool MonitorController::RevertSettings(const std::vector<std::string>& names, std::vector<UncommittedValue>& reverted) {
    DirectCommand<Command::RevertSettings> command;
    std::string reply;
    if (!command.with(names).send(&reply)) return false;
    command.read(reply, reverted);
    return true;
}

// ---- policies

bool MonitorController::CheckPolicy(const std::string& content, PolicyContent& policy) {
    DirectCommand<Command::CheckPolicy> command;
    std::string reply;
    if (!command.with(content).send(&reply)) return false;
    command.read(reply, policy);
    return true;
}

// ---- tunnels

bool MonitorController::GetEngine(EngineInfo& engine) {
    DirectCommand<Command::GetEngine> command;
    std::string reply;
    if (!command.send(&reply)) return false;
    command.read(reply, engine);
    return true;
}

bool MonitorController::GetTunnels(std::vector<TunnelInfo>& tunnels) {
    const LockedSession session(SessionMonitor);
    ProgressCommand<Command::GetTunnels> command(session.get(), *this);
    if (!command.execute()) return false;
    command.read(tunnels);
    return true;
}

bool MonitorController::ActOnTunnel(const std::string& section, TunnelAction action) {
    const LockedSession session(SessionMonitor);
    return ProgressCommand<Command::ActOnTunnel>(session.get(), *this).with(section, action).execute();
}

} // namespace panelkit
