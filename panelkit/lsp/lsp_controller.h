// SPDX-License-Identifier: MIT
//
// LSPController: activates, shows and configures the local security policy. Every operation is a short exchange with
// the policy module of the service, over the "Common" session.
//
// Operations block the calling thread. Only one of them runs at a time in the process: they share one recursive lock,
// so a hook that runs inside an operation may call another. Controllers hold no state.
//
// Operations return false when the service could not be reached or refused (bridge::lastFailure() says why). They throw
// the text "CommandStreamError" (a `const char*`) when a reply ends early; the lock is then released. Texts are UTF-8.
//
//   LSPController controller;
//   LSPinfo_t info;
//   LSPrequest_t required;
//   std::string text;
//   controller.cmdGetPolicyInfo(info, required, &text, nullptr, false);
//   cli_printf("%s\n", text.c_str());      // also when it returned false: the text then says so
//
// One state is kept outside the service: whether a policy of the user's own is wanted (`Active` in the user's settings
// file, panelkit/lsp/user_settings_file.h). Activating the system's or the driver's policy clears it, activating the
// user's sets it. When a command fails because the service can't be reached, the old state is restored, except that
// cmdActivateDDP leaves it cleared.
//
// `policyName` is sent unchanged; docs/service-api.md says what the service does with it.
#pragma once

#include <panelkit/lsp/lsp_records.h>

#include <platform/export.h>

#include <string>

class PANELKIT_EXPORT LSPController {
public:
    // ---- activation

    // Makes the service load the policy in force again. `reply` is left unchanged.
    bool cmdActivateCurrent(std::string& reply, const std::string& policyName);

    // Activates the default driver policy.
    bool cmdActivateDDP(const std::string& policyName);

    // Activates the system policy. If the settings name a policy file, its content is sent too; if the file can't be
    // read, an empty content is sent. Returns true when the service activated the policy; `message` receives the
    // service's message in both cases.
    bool cmdActivateSystem(std::string& message, const std::string& policyName);

    // Activates the policy of a user; the empty name means the current one. As above, but local problems and the
    // service's message are appended to `message`.
    bool cmdActivateUser(const std::string& user, std::string& message, const std::string& policyName);

    // ---- information

    // Gets the text of the policy in force.
    bool cmdViewCurrent(std::string& text);

    // Gets the required policy and the policy in force, as records, as a text and as a one-word state. `text` and
    // `state` may be null. The long text has several lines, and its diagnosis replaces `info.message`; the short one is
    // for a status line. When the service can't be reached, `text` is getDisconnectString(), `state` is noAnswer and
    // the records are unchanged.
    bool cmdGetPolicyInfo(LSPinfo_t& info, LSPrequest_t& required, std::string* text, LSPrequest_t::InfoType* state,
                          bool longForm);

    // Returns the text to show when the connection to the service is lost.
    static std::string getDisconnectString();

    // ---- settings: where the policy is taken from

    // The settings of the system. `applied` says whether the service accepted them.
    bool cmdGetSettings(LSPcmd::LSPsettings_t* settings);
    bool cmdSetSettings(const LSPcmd::LSPsettings_t& settings, bool& applied);

    // The settings of a user. For the current one, whose name is empty, the user's own file is first offered to the
    // service; `settings` may hold the content of the file when false is returned.
    bool cmdGetUserSettings(const std::string& user, LSPcmd::LSPsettings_t* settings);
    bool cmdSetUserSettings(const std::string& user, const LSPcmd::LSPsettings_t& settings, bool& applied);

    // Whether a user's own policy is wanted.
    static bool requestIsUser();

    // Returns true when, according to the service, somebody other than `user` is logged in; the empty name means the
    // user of this process. Returns false when nobody is logged in. `loggedIn` receives who is logged in.
    bool cmdIsOtherUserLoggedIn(std::string user, std::string& loggedIn);
};
