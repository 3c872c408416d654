// SPDX-License-Identifier: MIT
//
// Shared by the handlers of module 8: the module's state, reading a certificate's record, and replies.
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

// Reads the second record of requests for one certificate; the audit line names it too.
CertInfo readCertificate(Call& call);

// The reply of a listing: a count, and pairs from parallel lists.
template <class Object>
std::string encodedPairs(const std::vector<PKCS11::TokenInfo>& tokens, const std::vector<Object>& objects) {
    std::string reply;
    CommandStreamOut out(reply);
    out << static_cast<std::uint32_t>(objects.size());
    for (std::size_t i = 0; i < objects.size(); ++i) out.append(tokens[i], objects[i]);
    return reply;
}

// A reply that begins with a result. The reasons for the result are sent to the front end and to the audit line.
template <class Result, class... Fields>
std::string answered(Call& call, const Outcome<Result>& outcome, const Fields&... fields) {
    const auto number = static_cast<std::uint32_t>(outcome.result);
    call.outcome = number == 0 ? "done" : "failed (" + inEnglish(outcome.why) + ")";
    call.remarks = outcome.why;
    return encoded(number, fields...);
}

// Destroys the objects of a token for which `matches` holds. If there are none, throws a refusal with the wording
// `ifNone`.
template <class Objects, class Matches>
void destroyMatching(HeldToken& token, const Objects& objects, Loc::MarkedWording<> ifNone, Matches matches) {
    std::vector<std::uint64_t> numbers;
    for (const auto& object : objects) {
        if (matches(object)) numbers.push_back(object.object);
    }
    if (numbers.empty()) throw RefusedError(vocabulary::Refused::noSuchObject, ifNone);
    token.destroy(numbers);
}

} // namespace panelkitd
