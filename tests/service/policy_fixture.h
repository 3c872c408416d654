// SPDX-License-Identifier: MIT
//
// A test of the service's policy: its own service and user's folders, and short forms of the operations.
#pragma once

#include <panelkit/lsp/lsp_controller.h>

#include "../support/bytes.h"
#include "../support/running_service.h"
#include "../support/service_fixture.h"
#include "../support/user_folder.h"

#include <panelkit/bridge/commands.h>
#include <platform/paths/user_paths.h>
#include <platform/system/files.h>
#include <vocabulary/policy.h>
#include <vocabulary/refusals.h>

#include <gmock/gmock.h>

#include <chrono>
#include <string>
#include <thread>

// A valid policy file, for tests that need one.
inline std::string policyFile(const std::string& title, const std::string& sections = "[all]\naction = drop\n") {
    return "title = " + title + "\nversion = 1.0\n" + sections;
}

class WithPolicyService : public testing::Test {
protected:
    explicit WithPolicyService(std::vector<std::string> arguments = {"--embedded-module", ""})
        : service(std::move(arguments)) {
        connect();
    }
    ~WithPolicyService() override { closePooledSessions(); }

    void connect() const {
        closePooledSessions();
        CommandSender::Instance().SetEndpoint(service.endpoint());
    }
    void restart() {
        service.terminate();
        service.start();
        connect();
    }

    // Sets the service's settings to the defaults, changed by `change`.
    template <class Change>
    void configure(Change&& change) {
        LSPcmd::LSPsettings_t settings;
        change(settings);
        bool applied = false;
        EXPECT_TRUE(controller.cmdSetSettings(settings, applied)) << bridge::lastFailure().text();
        EXPECT_TRUE(applied);
    }
    std::string file() const { return folder.file("policy.lsp"); }
    // Writes the policy file, names it in the settings, and activates it. Returns the message; after a failure, it
    // begins with a note of that.
    std::string activate(const std::string& content, std::uint32_t loadingDelay = 0) {
        platform::replaceFile(file(), content, true);
        configure([&](LSPcmd::LSPsettings_t& settings) {
            settings.Source = 1;
            settings.File = file();
            settings.*vocabulary::policySettings::loadingDelay = loadingDelay;
        });
        return activateSystem();
    }
    std::string activateSystem(const std::string& name = {}) {
        std::string message;
        const bool activated = controller.cmdActivateSystem(message, name);
        return (activated ? "" : "failed: ") + message;
    }
    std::string activateUser(const std::string& user = {}) {
        std::string message;
        const bool activated = controller.cmdActivateUser(user, message, "");
        return (activated ? "" : "failed: ") + message;
    }

    // The service's information: records, text and state.
    struct Report {
        LSPrequest_t required;
        LSPinfo_t info;
        std::string text;
        LSPrequest_t::InfoType state{};
    };
    Report report(bool longForm = false) {
        Report all;
        EXPECT_TRUE(controller.cmdGetPolicyInfo(all.info, all.required, &all.text, &all.state, longForm))
            << bridge::lastFailure().text();
        return all;
    }
    std::string view() {
        std::string text;
        EXPECT_TRUE(controller.cmdViewCurrent(text)) << bridge::lastFailure().text();
        return text;
    }

    // The service's log may arrive a little after its answer.
    void expectLogged(const std::string& text) {
        for (int i = 0; i < 200 && service.log().find(text) == std::string::npos; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        EXPECT_THAT(service.log(), testing::HasSubstr(text));
    }

    // Sends raw bytes that the controller would not send. Returns whether the request was answered.
    static bool send(panelkit::Command command, const std::string& payload, std::string* reply = nullptr) {
        const panelkit::CommandRow& row = panelkit::commandRow(command);
        BridgeSession* const session = SessionsPool::GetSession(row.session);
        return session->__SendCommand(row.module, static_cast<long>(row.code), payload.data(),
                                      static_cast<unsigned>(payload.size()), reply);
    }
    static vocabulary::Refused refusal() { return static_cast<vocabulary::Refused>(bridge::lastFailure().detail); }

    UserFolder userFolder;
    TemporaryFolder folder;
    RunningService service;
    LSPController controller;
};
