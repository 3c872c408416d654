// SPDX-License-Identifier: MIT
//
// LSPController's activations.
#include <panelkit/lsp/lsp_controller.h>

#include <panelkit/bridge/send_command.h>
#include <panelkit/loc/default_texts.h>
#include <panelkit/lsp/policy_file.h>
#include <panelkit/lsp/policy_lock.h>
#include <panelkit/lsp/user_settings_file.h>

#include <platform/system/account_files.h>
#include <platform/system/files.h>

#include <cstdint>
#include <limits>
#include <optional>

using LSPcmd::LSPsettings_t;
using panelkit::Command;
using panelkit::DirectCommand;
using panelkit::PolicyLock;
using panelkit::text;
using panelkit::Text;

namespace panelkit {

namespace {

constexpr std::int32_t sourceFile = 1; // SOURCE_FILE of LSP_SOURCE_VARIANTS

// A file that is too large for a request is read too: the request then fails with an error, while an empty policy in
// its place would not be noticed.
constexpr std::uint64_t largestPolicyFile = std::numeric_limits<std::int32_t>::max();

// nullopt when it can't be read.
std::optional<std::string> policyFileOf(const LSPsettings_t& settings, const std::string& user) {
    try {
        return readPolicyFile(settings, user);
    } catch (const platform::FileError&) {
        return std::nullopt;
    }
}

} // namespace

std::string readPolicyFile(const LSPsettings_t& settings, const std::string& user) {
    if (settings.Source != sourceFile) return {};
    return platform::readFileAs(user, settings.File, largestPolicyFile);
}

} // namespace panelkit

bool LSPController::cmdActivateCurrent(std::string&, const std::string& policyName) {
    const PolicyLock lock;
    std::string discarded;
    return DirectCommand<Command::ActivateCurrent>().with(policyName).send(&discarded);
}

bool LSPController::cmdActivateDDP(const std::string& policyName) {
    const PolicyLock lock;
    panelkit::writeActive(false); // first, so that it is cleared even when the service is away
    return DirectCommand<Command::ActivateDDP>().with(policyName).send();
}

bool LSPController::cmdActivateSystem(std::string& message, const std::string& policyName) {
    LSPsettings_t settings;
    std::string content;
    if (cmdGetSettings(&settings)) content = panelkit::policyFileOf(settings, {}).value_or("");

    const PolicyLock lock;
    const bool wasActive = panelkit::readActive();
    if (wasActive) panelkit::writeActive(false);
    DirectCommand<Command::ActivateSystem> command;
    std::string reply;
    if (command.with(policyName, content).send(&reply)) {
        bool success = false;
        command.read(reply, success, message);
        return success;
    }
    if (wasActive && command.session() && command.session()->failedForWantOfService()) panelkit::writeActive(true);
    return false;
}

bool LSPController::cmdActivateUser(const std::string& user, std::string& message, const std::string& policyName) {
    LSPsettings_t settings;
    if (!cmdGetUserSettings(user, &settings)) {
        message += text(Text::cantGetUserLspSettings);
        settings = {}; // the file may have filled them
    }
    const std::optional<std::string> content = panelkit::policyFileOf(settings, user);
    if (!content) message.append(text(Text::cantReadUserLspFile)).append(settings.File).append("\n");

    const PolicyLock lock;
    panelkit::writeActive(true);
    DirectCommand<Command::ActivateUser> command;
    if (!command.session()) {
        message += text(Text::cantOpenBridgeSession);
        return false;
    }
    std::string reply;
    if (command.with(user, policyName, content.value_or("")).send(&reply)) {
        bool success = false;
        std::string words;
        command.read(reply, success, words);
        message += words;
        return success;
    }
    if (command.session()->failedForWantOfService()) {
        panelkit::writeActive(false);
    } else {
        message += text(Text::cantSendCommand);
    }
    return false;
}
