// SPDX-License-Identifier: MIT
//
// The policy in force as a text for people, in a long form of several lines and in a short one for a status line. The
// words are default texts and can be translated; the layout assumes the blanks and line feeds of the defaults.
#pragma once

#include <panelkit/lsp/lsp_records.h>
#include <platform/export.h>

#include <string>

namespace panelkit {

// LSPController::cmdGetPolicyInfo makes these texts of what it was answered. A front end makes them itself when it
// wants to change something first, such as the message into the user's language. Both replace `out`, and return the
// state. `required` is the policy that is asked for.

// Writes the message of `info`, or what is wrong with the certificate or key, into `diagnosis`, which is replaced too.
PANELKIT_EXPORT LSPrequest_t::InfoType longPolicyText(const LSPinfo_t& info, const LSPrequest_t& required,
                                                      std::string& out, std::string& diagnosis);

PANELKIT_EXPORT LSPrequest_t::InfoType shortPolicyText(const LSPinfo_t& info, const LSPrequest_t& required,
                                                       std::string& out);

// The state when no text is wanted: it looks at flags and message alone.
LSPrequest_t::InfoType policyState(const LSPinfo_t& info);

} // namespace panelkit
