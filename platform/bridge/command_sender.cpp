// SPDX-License-Identifier: MIT
#include <platform/bridge/command_sender.h>

#include <platform/bridge/bridge_session.h>
#include <platform/bridge/endpoint.h>
#include <platform/bridge/failure.h>
#include <platform/system/guarded.h>

#include <utility>
#include <vector>

namespace {

constexpr std::uint32_t defaultWait = 30'000;

} // namespace

struct CommandSender::State {
    struct Shared {
        std::string endpoint = bridge::defaultEndpoint();
        std::uint32_t wait = defaultWait;
        std::vector<std::unique_ptr<BridgeSession>> sessions; // every one ever opened
    };
    platform::Guarded<Shared> shared;
};

CommandSender& CommandSender::Instance() {
    static CommandSender* const sender = new CommandSender; // outlives static controllers on purpose
    return *sender;
}

CommandSender::CommandSender() : state_(std::make_unique<State>()) {}

BridgeSession* CommandSender::OpenNewSession(const char* name, int role) {
    const auto shared = state_->shared.lock();
    if (Loc::Phrase problem = bridge::endpointProblem(shared->endpoint); !problem.wording.empty()) {
        bridge::setLastOutcome({{bridge::FailureCode::badEndpoint, {std::move(problem)}}, {}});
        return nullptr;
    }
    std::unique_ptr<BridgeSession> session(
        new BridgeSession(name, static_cast<std::uint32_t>(role), shared->endpoint)); // the constructor is private
    session->setWaitSetting(shared->wait);
    shared->sessions.push_back(std::move(session));
    return shared->sessions.back().get();
}

void CommandSender::CloseSession(BridgeSession* session) {
    if (session) session->close();
}

void CommandSender::SetEndpoint(std::string endpoint) { state_->shared.lock()->endpoint = std::move(endpoint); }

void CommandSender::SetWait(std::uint32_t milliseconds) { state_->shared.lock()->wait = milliseconds; }

std::string CommandSender::Endpoint() const { return state_->shared.lock()->endpoint; }
