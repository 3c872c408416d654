// SPDX-License-Identifier: MIT
//
// LSPController: what a front end does with the local security policy. Every operation is a short exchange with the
// policy module of the service, over the "Common" session.
//
// Operations block the calling thread. All of them, in all threads of the process, take turns: they share one lock
// (recursive, so a hook that runs inside an operation may call another). Controllers hold no state and cost nothing.
//
// Operations answer false when the service could not be reached or refused (bridge::lastFailure() says why), and throw
// the text "CommandStreamError" (a `const char*`) when a reply ends early; the lock is free again then. Texts are
// UTF-8.
//
//   LSPController controller;
//   LSPinfo_t info;
//   LSPrequest_t required;
//   std::string text;
//   controller.cmdGetPolicyInfo(info, required, &text, nullptr, false);
//   cli_printf("%s\n", text.c_str());      // also when it answered false: the text then says that
//
// Beside the service's, one state is kept: whether a policy of the user's own is wanted, `Active` in the user's
// settings file (panelkit/lsp/user_settings_file.h). Activating the system's or the driver's policy clears it,
// activating the user's sets it; when a command fails for want of the service it is put back, but cmdActivateDDP leaves
// it cleared.
//
// `policyName` is carried; what the service at hand does with it stands in docs/service-api.md.
#pragma once

#include <panelkit/lsp/lsp_records.h>

#include <platform/export.h>

#include <string>

class PANELKIT_EXPORT LSPController {
public:
    // ---- activation

    // Has the service load the policy in force anew. `reply` is left alone.
    bool cmdActivateCurrent(std::string& reply, const std::string& policyName);

    // Activates the default driver policy.
    bool cmdActivateDDP(const std::string& policyName);

    // Activates the system policy. Where the settings name a policy file, its content is sent along, and an empty one
    // when it can't be read. True when the service says that it did; `message` receives its words either way.
    bool cmdActivateSystem(std::string& message, const std::string& policyName);

    // Activates the policy of a user; the empty name is the current one. As above, but problems on this side and the
    // service's words are appended to `message`.
    bool cmdActivateUser(const std::string& user, std::string& message, const std::string& policyName);

    // ---- what is in force

    // The text of the policy in force, as the service has it.
    bool cmdViewCurrent(std::string& text);

    // Which policy is required and which is in force, in records, as a text and in a word. `text` and `state` may be
    // null. The long text has several lines, and `info.message` is replaced by its diagnosis; the short one is for a
    // status line. Without a service `text` is getDisconnectString(), `state` is noAnswer and the records are left
    // alone.
    bool cmdGetPolicyInfo(LSPinfo_t& info, LSPrequest_t& required, std::string* text, LSPrequest_t::InfoType* state,
                          bool longForm);

    // What to show when the service is lost.
    static std::string getDisconnectString();

    // ---- where the policy is taken from

    // The settings of the system. `applied` says whether the service took them over.
    bool cmdGetSettings(LSPcmd::LSPsettings_t* settings);
    bool cmdSetSettings(const LSPcmd::LSPsettings_t& settings, bool& applied);

    // The settings of a user. For the current one, whose name is empty, the user's own file is offered to the service
    // first; `settings` may hold what the file says when the answer is false.
    bool cmdGetUserSettings(const std::string& user, LSPcmd::LSPsettings_t* settings);
    bool cmdSetUserSettings(const std::string& user, const LSPcmd::LSPsettings_t& settings, bool& applied);

    // Whether a user's own policy is wanted.
    static bool requestIsUser();

    // Whether the service considers somebody else logged in than `user`; the empty name is that of this process.
    // Not when nobody is logged in. `loggedIn` receives who is.
    bool cmdIsOtherUserLoggedIn(std::string user, std::string& loggedIn);
};
