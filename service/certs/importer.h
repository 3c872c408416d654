// SPDX-License-Identifier: MIT
//
// Stores objects of a parsed file on a token: all that the caller asks for, or none of them.
#pragma once

#include <service/base/refused.h>
#include <service/certs/holdings.h>
#include <service/certs/import_target.h>
#include <service/certs/parsed_file.h>
#include <service/certs/token_objects.h>

#include <vocabulary/certs.h>
#include <vocabulary/refusals.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace panelkitd {

// The result of an operation, and the reasons for it.
template <class Result>
struct CertOutcome {
    CertOutcome(Result how) : result(how) {} // NOLINT(google-explicit-constructor): success needs no reason
    CertOutcome(Result how, Remarks reasons) : result(how), why(std::move(reasons)) {}
    CertOutcome(Result how, bridge::Remark reason) : result(how), why{std::move(reason)} {}

    Result result;
    Remarks why;
};

// An outcome for an item that the file does not have.
template <class Result>
CertOutcome<Result> noSuchItem() {
    return {Result::noSuchItem, remark(vocabulary::Refused::noSuchObject, "no such item was parsed in this session")};
}

struct ImportWish {
    std::uint32_t item = 0;
    vocabulary::CertImport mode = vocabulary::CertImport::certificateOnly;
    bool extractable = false;
};

// Logs the user in to a token while this object exists, unless the user is logged in already.
class LoginForOnce {
public:
    // `pin` may be null; then nothing is done. Throws RefusedError, also when another account is logged in.
    LoginForOnce(HeldToken& token, const platform::Secret* pin, const Account& who);
    ~LoginForOnce();
    LoginForOnce(const LoginForOnce&) = delete;
    LoginForOnce& operator=(const LoginForOnce&) = delete;

private:
    HeldToken& token_;
    bool ours_ = false;
};

// Returns the ways in which the certificate can be imported, as the bits of CertImportOption::modes.
std::uint32_t possibleModes(const ParsedFile& file, std::size_t item);

using ImportOutcome = CertOutcome<vocabulary::ImportCert>;

// Imports certificates, their keys, or both, in their order. The first that fails for another reason than that the
// token has it is the last: returns the outcomes up to that one. `target` belongs to the session.
std::vector<ImportOutcome> importCertificates(HeldToken& token, ImportTarget& target, const ParsedFile& file,
                                              const std::vector<ImportWish>& wishes, FactsCache& cache);
vocabulary::ImportCert importResult(vocabulary::Refused reason);

// Imports a CRL. `everything` has the objects of all tokens, because the issuer of the list may be on any of them.
CertOutcome<vocabulary::ImportCrl> importCrl(HeldToken& token, const FileCrl& crl, const Holdings& everything,
                                             FactsCache& cache);
vocabulary::ImportCrl importCrlResult(vocabulary::Refused reason);

} // namespace panelkitd
