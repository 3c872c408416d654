// SPDX-License-Identifier: MIT
//
// Storing what a parsed file holds on a token: all that is asked for, or nothing.
#pragma once

#include <service/base/refused.h>
#include <service/certs/holdings.h>
#include <service/certs/parsed_file.h>
#include <service/certs/token_objects.h>

#include <vocabulary/certs.h>
#include <vocabulary/refusals.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace panelkitd {

// What an operation ended with, and why.
template <class Result>
struct Outcome {
    Outcome(Result how) : result(how) {} // NOLINT(google-explicit-constructor): success needs no reason
    Outcome(Result how, Remarks reasons) : result(how), why(std::move(reasons)) {}
    Outcome(Result how, bridge::Remark reason) : result(how), why{std::move(reason)} {}

    Result result;
    Remarks why;
};

struct ImportWish {
    std::uint32_t item = 0;
    vocabulary::CertImport mode = vocabulary::CertImport::certificateOnly;
    bool extractable = false;
};

// The token's user is logged in for as long as this lives, unless he is in anyway.
class LoginForOnce {
public:
    // Null for no PIN: nothing is done. Throws RefusedError, also when another account is logged in.
    LoginForOnce(HeldToken& token, const std::string* pin, const Account& who);
    ~LoginForOnce();
    LoginForOnce(const LoginForOnce&) = delete;
    LoginForOnce& operator=(const LoginForOnce&) = delete;

private:
    HeldToken& token_;
    bool ours_ = false;
};

// The bits of CertImportOption::modes.
std::uint32_t possibleModes(const ParsedFile& file, std::size_t item);

// Throws RefusedError when the token refuses.
Outcome<vocabulary::ImportCert> importCertificate(HeldToken& token, const ParsedFile& file, const ImportWish& wish,
                                                  FactsCache& cache);
vocabulary::ImportCert importResult(vocabulary::Refused reason);

// `everything` is what the tokens hold: the list's issuer may be on any.
Outcome<vocabulary::ImportCrl> importCrl(HeldToken& token, const FileCrl& crl, const Holdings& everything,
                                         FactsCache& cache);
vocabulary::ImportCrl importCrlResult(vocabulary::Refused reason);

} // namespace panelkitd
