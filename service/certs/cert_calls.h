// SPDX-License-Identifier: MIT
//
// What the handlers of module 8 share: the module's state, reading a certificate's record, and replies.
#pragma once

#include <service/base/call.h>
#include <service/base/refused.h>
#include <service/certs/cert_commands.h>
#include <service/certs/holdings.h>
#include <service/certs/importer.h>
#include <service/certs/parsed_files.h>

#include <panelkit/certs/cert_records.h>

#include <string>
#include <vector>

namespace panelkitd {

struct CertCommands::State {
    State(Providers& all, const Configuration& settings) : providers(all), configuration(settings) {}

    Holdings look() { return {providers, cache}; }

    Providers& providers;
    const Configuration& configuration;
    FactsCache cache;
    ParsedFiles parsed;
};

// The second record of requests about one certificate; the audit line names it too.
CertInfo readCertificate(Call& call);

// Parallel lists, as listings are answered: a count, and pairs.
template <class Object>
std::string encodedPairs(const std::vector<PKCS11::TokenInfo>& tokens, const std::vector<Object>& objects) {
    std::string reply;
    CommandStreamOut out(reply);
    out << static_cast<std::uint32_t>(objects.size());
    for (std::size_t i = 0; i < objects.size(); ++i) out.append(tokens[i], objects[i]);
    return reply;
}

// A reply that begins with a result. Why it is that goes to the front end, and to the audit line.
template <class Result, class... Fields>
std::string answered(Call& call, const Outcome<Result>& outcome, const Fields&... fields) {
    const auto number = static_cast<std::uint32_t>(outcome.result);
    call.outcome = number == 0 ? "done" : "failed (" + inEnglish(outcome.why) + ")";
    call.remarks = outcome.why;
    return encoded(number, fields...);
}

// Destroys the objects of a token for which `matches` holds. When there are none, `ifNone` is what the refusal says.
template <class Objects, class Matches>
void destroyMatching(const OpenToken& token, const Objects& objects, Loc::MarkedWording<> ifNone, Matches matches) {
    bool found = false;
    for (const auto& object : objects) {
        if (!matches(object)) continue;
        token.destroy(object.object);
        found = true;
    }
    if (found) return;
    throw RefusedError(vocabulary::Refused::noSuchObject, ifNone);
}

} // namespace panelkitd
