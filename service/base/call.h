// SPDX-License-Identifier: MIT
//
// One command as its handler sees it, and what handlers of several modules do alike: reading the record that a request
// begins with, and writing replies.
#pragma once

#include <service/base/refused.h>

#include <panelkit/bridge/command_stream.h>
#include <panelkit/tokens/token_records.h>
#include <platform/bridge/server.h>

#include <string>

namespace panelkitd {

struct Call {
    bridge::server::Session& session;
    bool byAdministrator;
    CommandStreamIn in;  // over the payload
    std::string subject; // what the command acts on, for the audit line; no secrets
    std::string outcome; // for the audit line, of replies whose first byte does not say how it ended
    Remarks remarks;     // beside the reply
};

// The reply of a command that acted.
inline const std::string success(1, '\1');

// A reply of these fields.
template <class... Fields>
std::string encoded(const Fields&... fields) {
    std::string reply;
    CommandStreamOut(reply).append(fields...);
    return reply;
}

// The first record of most requests; it is what the audit line names.
PKCS11::TokenInfo readToken(Call& call);

} // namespace panelkitd
