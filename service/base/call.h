// SPDX-License-Identifier: MIT
//
// One command as its handler sees it, and functions that all handlers use: reading the record at the start of a
// request, and writing replies.
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

// The reply of a command that acted.
inline const std::string success(1, '\1');

// A reply with these fields.
template <class... Fields>
std::string encoded(const Fields&... fields) {
    std::string reply;
    CommandStreamOut(reply).append(fields...);
    return reply;
}

// Reads the first record of most requests; the audit line names it.
PKCS11::TokenInfo readToken(Call& call);

} // namespace panelkitd
