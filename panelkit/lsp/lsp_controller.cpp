// SPDX-License-Identifier: MIT
#include <panelkit/lsp/lsp_controller.h>

#include <panelkit/bridge/send_command.h>
#include <panelkit/loc/default_texts.h>
#include <panelkit/lsp/policy_lock.h>
#include <panelkit/lsp/policy_text.h>
#include <panelkit/lsp/user_settings_file.h>

#include <platform/paths/user_paths.h>

#include <utility>

using LSPcmd::LSPsettings_t;
using panelkit::Command;
using panelkit::DirectCommand;
using panelkit::PolicyLock;
using panelkit::text;
using panelkit::Text;

bool LSPController::cmdViewCurrent(std::string& text) {
    const PolicyLock lock;
    std::string reply;
    if (!DirectCommand<Command::ViewCurrent>().send(&reply)) return false;
    text = std::move(reply);
    return true;
}

std::string LSPController::getDisconnectString() { return text(Text::serviceIsntRunning); }

bool LSPController::cmdGetPolicyInfo(LSPinfo_t& info, LSPrequest_t& required, std::string* text,
                                     LSPrequest_t::InfoType* state, bool longForm) {
    std::string reply;
    const auto ask = [&] {
        const PolicyLock lock; // for the exchange alone: the answer is read and told without it
        return DirectCommand<Command::GetPolicyInfo>().send(&reply);
    };
    if (!ask()) {
        if (text) *text = getDisconnectString();
        if (state) *state = LSPrequest_t::noAnswer;
        return false;
    }
    panelkit::readReply<Command::GetPolicyInfo>(reply, required, info);
    LSPrequest_t::InfoType found = panelkit::policyState(info);
    if (text && longForm) {
        std::string diagnosis;
        found = panelkit::longPolicyText(info, required, *text, diagnosis);
        info.message = std::move(diagnosis);
    } else if (text) {
        found = panelkit::shortPolicyText(info, required, *text);
    }
    if (state) *state = found;
    return true;
}

bool LSPController::cmdGetSettings(LSPsettings_t* settings) {
    const PolicyLock lock;
    DirectCommand<Command::GetSettings> command;
    std::string reply;
    if (!command.send(&reply)) return false;
    command.read(reply, *settings);
    return true;
}

bool LSPController::cmdSetSettings(const LSPsettings_t& settings, bool& applied) {
    const PolicyLock lock;
    DirectCommand<Command::SetSettings> command;
    std::string reply;
    if (!command.with(settings).send(&reply)) return false;
    command.read(reply, applied);
    return true;
}

bool LSPController::cmdGetUserSettings(const std::string& user, LSPsettings_t* settings) {
    const PolicyLock lock;
    DirectCommand<Command::OfferUserSettings> offer;
    if (!offer.session()) return false;
    DirectCommand<Command::GetUserSettings> command(offer.session());
    // Whatever becomes of the offer, the service is asked: it may have settings of its own.
    if (user.empty() && offer.with(user).send() && panelkit::readUserSettings(*settings)) {
        command.with(user, *settings);
    } else {
        command.with(user);
    }
    std::string reply;
    if (!command.send(&reply)) return false;
    command.read(reply, *settings);
    return true;
}

bool LSPController::cmdSetUserSettings(const std::string& user, const LSPsettings_t& settings, bool& applied) {
    const PolicyLock lock;
    DirectCommand<Command::SetUserSettings> command;
    std::string reply;
    if (!command.with(user, settings).send(&reply)) return false;
    command.read(reply, applied);
    return true;
}

bool LSPController::requestIsUser() {
    const PolicyLock lock;
    return panelkit::readActive();
}

bool LSPController::cmdIsOtherUserLoggedIn(std::string user, std::string& loggedIn) {
    const PolicyLock lock;
    DirectCommand<Command::LoggedInUser> command;
    std::string reply;
    if (!command.send(&reply)) return false;
    command.read(reply, loggedIn);
    if (loggedIn.empty()) return false;
    if (user.empty()) user = curproc_userName();
    return user != loggedIn;
}
