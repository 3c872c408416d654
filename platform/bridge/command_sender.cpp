// SPDX-License-Identifier: MIT
#include <platform/bridge/command_sender.h>

#include <platform/bridge/bridge_session.h>
#include <platform/bridge/endpoint.h>
#include <platform/bridge/failure.h>

#include <mutex>
#include <utility>
#include <vector>

namespace {

constexpr std::uint32_t defaultWait = 30'000;

} // namespace

struct CommandSender::State {
    mutable std::mutex mutex; // guards what follows
    std::string endpoint = bridge::defaultEndpoint();
    std::uint32_t wait = defaultWait;
    std::vector<std::unique_ptr<BridgeSession>> sessions; // every one ever opened
};

CommandSender& CommandSender::Instance() {
    static CommandSender* const sender = new CommandSender; // outlives static controllers on purpose
    return *sender;
}

CommandSender::CommandSender() : state_(std::make_unique<State>()) {}

BridgeSession* CommandSender::OpenNewSession(const char* name, int role) {
    const std::scoped_lock lock(state_->mutex);
    if (Loc::Phrase problem = bridge::endpointProblem(state_->endpoint); !problem.wording.empty()) {
        bridge::setLastOutcome({{bridge::FailureCode::badEndpoint, {std::move(problem)}}, {}});
        return nullptr;
    }
    std::unique_ptr<BridgeSession> session(
        new BridgeSession(name, static_cast<std::uint32_t>(role), state_->endpoint)); // the constructor is private
    session->setWaitSetting(state_->wait);
    state_->sessions.push_back(std::move(session));
    return state_->sessions.back().get();
}

void CommandSender::CloseSession(BridgeSession* session) {
    if (session) session->close();
}

void CommandSender::SetEndpoint(std::string endpoint) {
    const std::scoped_lock lock(state_->mutex);
    state_->endpoint = std::move(endpoint);
}

void CommandSender::SetWait(std::uint32_t milliseconds) {
    const std::scoped_lock lock(state_->mutex);
    state_->wait = milliseconds;
}

std::string CommandSender::Endpoint() const {
    const std::scoped_lock lock(state_->mutex);
    return state_->endpoint;
}
