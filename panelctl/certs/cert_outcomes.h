// SPDX-License-Identifier: MIT
//
// The outcome of a certificate operation: for each result an exit code, and a line that says why.
#pragma once

#include <panelctl/base/exit_codes.h>

#include <panelkit/certs/cert_results.h>
#include <vocabulary/certs.h>

#include <string_view>

namespace panelctl {

// The object and the token of an operation, and what the service said in its answer.
struct Answered {
    std::string_view object;      // or file
    std::string_view token;       // its label
    std::string_view reason = {}; // in English; what the service remarks comes first
};

// The error to end the verb with when `result`, of the last command, is not success.
CommandError errorOf(ParseCertFileResult result, const Answered& answered);
CommandError errorOf(ImportCertResult result, const Answered& answered);
CommandError errorOf(ImportCRLResult result, const Answered& answered);
CommandError errorOf(ExportCertResult result, const Answered& answered);
CommandError errorOf(MakeCertRequestResult result, const Answered& answered);

} // namespace panelctl
