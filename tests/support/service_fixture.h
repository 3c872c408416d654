// SPDX-License-Identifier: MIT
//
// A test that talks to a scripted service over a real socket or pipe, with a session pool that starts empty.
#pragma once

#include <panelkit/bridge/sessions_pool.h>
#include <testing/scripted_service.h>

#include <platform/bridge/bridge_session.h>
#include <platform/bridge/command_sender.h>
#include <platform/bridge/failure.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

inline void closePooledSessions() {
    for (const SessionId_t id : {SessionParameters, SessionCertificates, SessionTokens, SessionMonitor}) {
        SessionsPool::CloseSession(id);
    }
}

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
