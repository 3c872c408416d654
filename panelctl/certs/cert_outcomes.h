// SPDX-License-Identifier: MIT
//
// What came of a certificate operation: for each result an exit code, and a line that says why.
#pragma once

#include <panelctl/exit_codes.h>
#include <panelctl/texts.h>

#include <panelkit/certs/cert_results.h>
#include <vocabulary/certs.h>

#include <string>
#include <string_view>

namespace panelctl {

struct Outcome {
    Exit code = Exit::ok;
    Say why = Say::count_; // nothing when it is ok. Its "%1$s" is the object or file, "%2$s" the token
};

Outcome outcomeOf(vocabulary::ParseResult result);
Outcome outcomeOf(vocabulary::ImportCert result);
Outcome outcomeOf(vocabulary::ImportCrl result);
Outcome outcomeOf(vocabulary::ExportCert result);
Outcome outcomeOf(vocabulary::MakeRequest result);

// What an operation of the library answered.
struct Answered {
    std::string_view object;      // or file
    std::string_view token;       // its label
    std::string_view reason = {}; // the service's own words, if it sent any
};

// The error to end the verb with when `result` is not success.
CommandError errorOf(ParseCertFileResult result, const Answered& answered);
CommandError errorOf(ImportCertResult result, const Answered& answered);
CommandError errorOf(ImportCRLResult result, const Answered& answered);
CommandError errorOf(ExportCertResult result, const Answered& answered);
CommandError errorOf(MakeCertRequestResult result, const Answered& answered);

} // namespace panelctl
