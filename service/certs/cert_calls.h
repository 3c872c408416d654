// SPDX-License-Identifier: MIT
//
// Shared by the handlers of module 8: the module's state, reading a certificate's record, and replies.
#pragma once

#include <service/base/call.h>
#include <service/base/limits.h>
#include <service/base/refused.h>
#include <service/certs/cert_commands.h>
#include <service/certs/holdings.h>
#include <service/certs/importer.h>
#include <service/certs/parsed_files.h>
#include <service/certs/preshared_keys.h>

#include <panelkit/bridge/payload.h>
#include <panelkit/certs/cert_records.h>
#include <panelkit/certs/cert_results.h>
#include <vocabulary/certs.h>

#include <string>
#include <vector>

namespace panelkitd {

struct CertCommands::State {
    State(Providers& all, const Configuration& settings, KeyUse use)
        : providers(all), configuration(settings), keyUse(use) {}

    Holdings look() { return {providers, cache}; }

    // cert_import_commands.cpp. `pin` may be null.
    std::vector<ImportOutcome> import(const Call& call, const PKCS11::TokenInfo& info,
                                      const std::vector<ImportWish>& wishes, const platform::Secret* pin);
    std::string nameOf(const Call& call, std::uint32_t item) const; // of the session's file, for the audit line

    Providers& providers;
    const Configuration& configuration;
    const KeyUse keyUse; // of preshared keys that are created
    FactsCache cache;
    bridge::AccountBudget importFiles{limits::importFiles};
    ParsedFiles parsed;
};

// Reads the second record of requests for one certificate; the audit line names it too.
CertInfo readCertificate(Call& call);

// Results as the rows have them.
constexpr auto ofRow(vocabulary::ParseResult result) { return static_cast<ParseCertFileResult>(result); }
constexpr auto ofRow(vocabulary::ImportCert result) { return static_cast<ImportCertResult>(result); }
constexpr auto ofRow(vocabulary::ImportCrl result) { return static_cast<ImportCRLResult>(result); }
constexpr auto ofRow(vocabulary::ExportCert result) { return static_cast<ExportCertResult>(result); }
constexpr auto ofRow(vocabulary::MakeRequest result) { return static_cast<MakeCertRequestResult>(result); }

template <class Result>
std::string auditText(const CertOutcome<Result>& outcome) {
    return outcome.result == Result{} ? "done" : "failed (" + inEnglish(outcome.why) + ")";
}

// A reply that begins with a result. The reasons for the result are sent to the front end and to the audit line.
template <panelkit::Command command, class Result, class... Fields>
std::string answered(Call& call, const CertOutcome<Result>& outcome, const Fields&... fields) {
    call.outcome = auditText(outcome);
    call.remarks = outcome.why;
    return panelkit::encodeReply<command>(ofRow(outcome.result), fields...);
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
