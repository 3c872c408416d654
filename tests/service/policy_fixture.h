// SPDX-License-Identifier: MIT
//
// A test of the service's policy: its own service and user's folders, and short forms of the operations.
#pragma once

#include <panelkit/lsp/lsp_controller.h>

#include "../support/bytes.h"
#include "../support/user_folder.h"
#include "with_service.h"

#include <platform/paths/user_paths.h>
#include <platform/system/files.h>
#include <vocabulary/policy.h>

// A valid policy file, for tests that need one.
inline std::string policyFile(const std::string& title, const std::string& sections = "[all]\naction = drop\n") {
    return "title = " + title + "\nversion = 1.0\n" + sections;
}

class WithPolicyService : public WithService {
protected:
    using WithService::WithService;

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

    UserFolder userFolder;
    TemporaryFolder folder;
    LSPController controller;
};
