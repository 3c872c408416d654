// SPDX-License-Identifier: MIT
//
// A service of the test's own with a front end that is connected to it, and short forms of what tests of the service
// do.
#pragma once

#include "../support/running_service.h"
#include "../support/service_fixture.h"

#include <panelkit/tokens/tokens_controller.h>
#include <vocabulary/refusals.h>
#include <vocabulary/tokens.h>

using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;
using vocabulary::Refused;

class WithService : public testing::Test {
protected:
    using Environment = std::map<std::string, std::optional<std::string>>;

    explicit WithService(std::vector<std::string> arguments = {"--embedded-module", ""}, Environment environment = {})
        : service(std::move(arguments), std::move(environment)) {
        connect();
    }
    ~WithService() override { closePooledSessions(); }

    void connect() const {
        closePooledSessions();
        CommandSender::Instance().SetEndpoint(service.endpoint());
    }
    void restart(bool inGoodOrder = true) {
        inGoodOrder ? void(service.terminate()) : service.kill();
        service.start();
        connect();
    }

    static bool send(const panelkit::CommandRow& row, const std::string& payload, std::string* reply = nullptr) {
        return sendOver(SessionsPool::GetSession(row.session), row, payload, reply);
    }
    static bool send(panelkit::Command command, const std::string& payload, std::string* reply = nullptr) {
        return send(panelkit::commandRow(command), payload, reply);
    }
    static vocabulary::Refused refusal() { return static_cast<vocabulary::Refused>(bridge::lastFailure().detail); }

    template <class Condition>
    static bool waitFor(Condition holds) {
        for (int i = 0; i < 2000 && !holds(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
        return holds();
    }
    // The service's log may arrive a little after its answer.
    void expectLogged(const std::string& text) const {
        EXPECT_TRUE(waitFor([&] { return service.log().find(text) != std::string::npos; })) << text << service.log();
    }

    std::vector<PKCS11::ProviderInfo> providers() {
        std::vector<PKCS11::ProviderInfo> all;
        EXPECT_TRUE(tokens.EnumProviders(all)) << bridge::lastFailure().text();
        return all;
    }
    std::vector<PKCS11::TokenInfo> listed() {
        std::vector<PKCS11::TokenInfo> all;
        EXPECT_TRUE(tokens.EnumProviderTokens(nullptr, all)) << bridge::lastFailure().text();
        return all;
    }
    // The present record of the token with that label.
    PKCS11::TokenInfo token(const std::string& label = "Office") {
        for (PKCS11::TokenInfo& candidate : listed()) {
            if (candidate.*vocabulary::token::label == label) return std::move(candidate);
        }
        ADD_FAILURE() << "no token \"" << label << '"';
        return {};
    }
    // Returns the problem; empty when the provider is loaded.
    std::string load(const std::string& path, const std::string& name = "card", bool remembered = false) {
        PKCS11::ProviderInfo info;
        info.*vocabulary::provider::path = path;
        info.*vocabulary::provider::name = name;
        info.*vocabulary::provider::isRemembered = remembered;
        const bool loaded = tokens.ProviderLoad(info);
        EXPECT_EQ(loaded, info.*vocabulary::provider::problem == "") << bridge::lastFailure().text();
        return info.*vocabulary::provider::problem;
    }

    RunningService service;
    VpnTokensController tokens;
};
