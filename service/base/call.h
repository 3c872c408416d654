// SPDX-License-Identifier: MIT
//
// One command as its handler sees it, and a function that most handlers use: it reads the record at the start of a
// request.
#pragma once

#include <service/base/access.h>
#include <service/base/refused.h>

#include <panelkit/bridge/payload.h>
#include <panelkit/tokens/token_records.h>
#include <platform/bridge/server.h>
#include <platform/system/secret.h>

#include <string>
#include <vector>

// A secret is a text in locked memory.
template <>
inline constexpr bool panelkit::isField<panelkit::SecretText, platform::Secret> = true;
template <>
inline constexpr bool panelkit::isField<panelkit::Optional<panelkit::SecretText>, platform::Secret> = true;

namespace panelkitd {

struct Call {
    struct Part {
        std::string object;
        std::string outcome; // "done", or why not
    };

    Account account() const { return {session.peer.user, displayName(session.peer), byAdministrator}; }

    bridge::server::Session& session;
    bool byAdministrator;
    CommandStreamIn in;      // over the payload
    std::string subject;     // what the command acts on, for the audit line; no secrets
    std::vector<Part> parts; // of a command that acts on several objects: each has an audit line of its own
    std::string outcome;     // for the audit line, if the reply's first byte does not say how the command ended
    Remarks remarks;         // sent with the reply
};

// Reads the first record of most requests; the audit line names it.
PKCS11::TokenInfo readToken(Call& call);

// Reads fields of the command's request; `from` is the number of fields that were read before. The fields must be those
// of the command's row, or the first of them; others don't compile.
//
//   const TokenInfo info = readToken(call);
//   std::uint32_t item = 0;
//   readRequest<Command::ImportCRL, 1>(call, item);
template <panelkit::Command command, std::size_t from = 0, class... Given>
void readRequest(Call& call, Given&... fields) {
    using Row = panelkit::RequestOf<command>;
    static_assert(panelkit::fits(panelkit::without<from>(Row()), panelkit::Fields<Given...>(), panelkit::Extent::first),
                  "the row has another request");
    (call.in >> ... >> fields);
}

} // namespace panelkitd
