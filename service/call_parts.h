// SPDX-License-Identifier: MIT
//
// What handlers of several modules do alike: reading the record that a request begins with, and writing replies.
#pragma once

#include <service/dispatcher.h>

#include <panelkit/bridge/command_stream.h>
#include <panelkit/tokens/token_records.h>

#include <string>

namespace panelkitd {

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
