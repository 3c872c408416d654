// SPDX-License-Identifier: MIT
//
// LSPController's activations.
#include <panelkit/lsp/lsp_controller.h>

#include <panelkit/bridge/send_command.h>
#include <panelkit/loc/default_texts.h>
#include <panelkit/lsp/policy_file.h>
#include <panelkit/lsp/policy_lock.h>
#include <panelkit/lsp/user_settings_file.h>

#include <platform/bridge/connection.h>
#include <platform/bridge/frame.h>
#include <platform/system/account_files.h>
#include <platform/system/files.h>

#include <cstdint>
#include <limits>
#include <new>
#include <string>

using LSPcmd::LSPsettings_t;
using panelkit::Command;
using panelkit::DirectCommand;
using panelkit::PolicyLock;
using panelkit::text;
using panelkit::Text;

namespace panelkit {

namespace {

constexpr std::int32_t sourceFile = 1; // SOURCE_FILE of LSP_SOURCE_VARIANTS

// A file that is too large for a request is not read, and the command fails: an empty policy in its place would not be
// noticed. One that is larger still counts as unreadable.
constexpr std::uint64_t largestSent = bridge::defaultFrameLimit;
constexpr std::uint64_t largestFile = std::numeric_limits<std::int32_t>::max();

// The policy file of settings, as far as it is sent.
struct PolicyFile {
    std::string content;     // empty when it can't be read
    bool unreadable = false; // not set for a file that is only too large
    bridge::Failure unsendable;
};

PolicyFile policyFileOf(const LSPsettings_t& settings, const std::string& user) {
    try {
        return {readPolicyFile(settings, user), false, {}};
    } catch (const platform::FileError& error) {
        if (error.tooLarge == 0 || error.tooLarge > largestFile) return {{}, true, {}};
        return {{}, false, bridge::requestTooLarge(error.tooLarge, largestSent)};
    } catch (const std::bad_alloc&) {
        return {{}, false, {bridge::FailureCode::exhausted, {}}};
    }
}

// Sends the command unless the policy file can't be sent with it.
bool send(DirectRequest& command, const PolicyFile& file, std::string& reply) {
    if (file.unsendable.code == bridge::FailureCode::none) return command.send(&reply);
    bridge::setLastOutcome({file.unsendable, {}});
    return false;
}

} // namespace

std::string readPolicyFile(const LSPsettings_t& settings, const std::string& user) {
    if (settings.Source != sourceFile) return {};
    return platform::readFileAs(user, settings.File, largestSent);
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
    panelkit::PolicyFile file;
    if (cmdGetSettings(&settings)) file = panelkit::policyFileOf(settings, {});

    const PolicyLock lock;
    const bool wasActive = panelkit::readActive();
    if (wasActive) panelkit::writeActive(false);
    DirectCommand<Command::ActivateSystem> command;
    std::string reply;
    if (panelkit::send(command.with(policyName, file.content), file, reply)) {
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
    const panelkit::PolicyFile file = panelkit::policyFileOf(settings, user);
    if (file.unreadable) message.append(text(Text::cantReadUserLspFile)).append(settings.File).append("\n");

    const PolicyLock lock;
    panelkit::writeActive(true);
    DirectCommand<Command::ActivateUser> command;
    if (!command.session()) {
        message += text(Text::cantOpenBridgeSession);
        return false;
    }
    std::string reply;
    if (panelkit::send(command.with(user, policyName, file.content), file, reply)) {
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
