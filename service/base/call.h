// SPDX-License-Identifier: MIT
//
// One command as its handler sees it, and a function that most handlers use: it reads the record at the start of a
// request.
#pragma once

#include <service/base/access.h>
#include <service/base/refused.h>

#include <panelkit/bridge/command_stream.h>
#include <panelkit/tokens/token_records.h>
#include <platform/bridge/server.h>

#include <string>

namespace panelkitd {

struct Call {
    Account account() const { return {session.peer.user, displayName(session.peer), byAdministrator}; }

    bridge::server::Session& session;
    bool byAdministrator;
    CommandStreamIn in;  // over the payload
    std::string subject; // what the command acts on, for the audit line; no secrets
    std::string outcome; // for the audit line, if the reply's first byte does not say how the command ended
    Remarks remarks;     // sent with the reply
};

// Reads the first record of most requests; the audit line names it.
PKCS11::TokenInfo readToken(Call& call);

} // namespace panelkitd
