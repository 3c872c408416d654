// SPDX-License-Identifier: MIT
//
// The policy in force as text: a long form of several lines, and a short form for a status line. The words are default
// texts and can be translated; the layout assumes the blanks and line feeds of the defaults.
#pragma once

#include <panelkit/lsp/lsp_records.h>
#include <platform/export.h>

#include <string>

namespace panelkit {

// LSPController::cmdGetPolicyInfo uses these functions for the records it received. A front end calls them itself when
// it wants to change something first, for example to translate the message. Both replace `out` and return the state.
// `required` is the policy that is asked for.

// Writes the message of `info`, or what is wrong with the certificate or key, into `diagnosis`, replacing what it held.
PANELKIT_EXPORT LSPrequest_t::InfoType longPolicyText(const LSPinfo_t& info, const LSPrequest_t& required,
                                                      std::string& out, std::string& diagnosis);

// Writes the form for a status line.
PANELKIT_EXPORT LSPrequest_t::InfoType shortPolicyText(const LSPinfo_t& info, const LSPrequest_t& required,
                                                       std::string& out);

// Returns the state when no text is wanted; uses only the flags and the message.
LSPrequest_t::InfoType policyState(const LSPinfo_t& info);

} // namespace panelkit
