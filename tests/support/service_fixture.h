// SPDX-License-Identifier: MIT
//
// A test that talks to a scripted service over a real socket or pipe, with a session pool that starts empty.
#pragma once

#include <panelkit/bridge/commands.h>
#include <panelkit/bridge/sessions_pool.h>
#include <testing/scripted_service.h>

#include "test.h"

#include <platform/bridge/bridge_session.h>
#include <platform/bridge/command_sender.h>
#include <platform/bridge/failure.h>

using panelkit::Command;
using panelkit::testing::Reaction;

inline void closePooledSessions() {
    for (const SessionId_t id : {SessionParameters, SessionCertificates, SessionTokens, SessionMonitor}) {
        SessionsPool::CloseSession(id);
    }
}

// Sends bytes that a controller would perhaps not send. Returns whether they were answered.
inline bool sendOver(BridgeSession* session, const panelkit::CommandRow& row, const std::string& payload,
                     std::string* reply = nullptr) {
    return session->__SendCommand(row.module, static_cast<long>(row.code), payload.data(),
                                  static_cast<unsigned>(payload.size()), reply);
}

// A front end with a connection of its own, for one thread.
class Client {
public:
    Client() : session_(CommandSender::Instance().OpenNewSession("client", 1)) {}
    ~Client() { CommandSender::Instance().CloseSession(session_); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    bool send(panelkit::Command command, const std::string& payload, std::string* reply = nullptr) {
        return sendOver(session_, panelkit::commandRow(command), payload, reply);
    }

private:
    BridgeSession* session_;
};

class WithScriptedService : public testing::Test {
protected:
    WithScriptedService() {
        closePooledSessions();
        CommandSender::Instance().SetEndpoint(service->endpoint());
    }
    ~WithScriptedService() override { closePooledSessions(); }

    // Ends the service; it may start again at the same endpoint.
    void killService() { service.reset(); }
    void restartService() { service = std::make_unique<panelkit::testing::ScriptedService>(endpoint); }

    // The payload of the one request that arrived.
    std::string onlyPayload() const {
        const auto requests = service->requests();
        EXPECT_EQ(requests.size(), 1U);
        return requests.empty() ? "no request" : requests.back().payload;
    }

    std::unique_ptr<panelkit::testing::ScriptedService> service =
        std::make_unique<panelkit::testing::ScriptedService>();
    const std::string endpoint = service->endpoint();
};

// An endpoint where nothing listens.
class WithoutService : public testing::Test {
protected:
    WithoutService() {
        closePooledSessions();
        CommandSender::Instance().SetEndpoint(panelkit::testing::uniqueEndpoint());
    }
    ~WithoutService() override { closePooledSessions(); }
};
