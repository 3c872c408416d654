// SPDX-License-Identifier: MIT
//
// What the token of an import has already. A single import searches for the objects of its certificates. Some tokens
// take as long for a search as for reading everything, so when imports follow each other, the second one reads the
// token once, and the next ones use that.
#pragma once

#include <service/certs/parsed_file.h>
#include <service/certs/token_objects.h>

#include <chrono>
#include <optional>
#include <string>
#include <unordered_map>

namespace panelkitd {

// Belongs to a session; one thread at a time uses it.
class ImportTarget {
public:
    // What the token has of a certificate.
    struct Present {
        bool certificate = false;
        bool key = false;
        std::string id; // that certificate and key have or must have: the same CKA_ID links them
    };

    // An object that was created.
    struct Made {
        CertificateFactsPtr certificate; // itself, or that of the key
        std::string id;
        bool isKey = false;
    };

    // Called at the beginning of each import, with the token that is held for it.
    void begin(const HeldToken& token);
    Present of(HeldToken& token, const FileCertificate& certificate, FactsCache& cache);
    // Called when the import has created objects.
    void made(const HeldToken& token, const std::vector<Made>& objects);

private:
    using Clock = std::chrono::steady_clock;

    // Of a whole token, without the values of its certificates.
    struct Content {
        std::unordered_map<std::string, std::string> idOf; // by fingerprint
        TokenObjects keys;
        Clock::time_point validUntil;
    };
    static Content readContent(HeldToken& token, FactsCache& cache);
    void ended(const HeldToken& token);

    // Of the last import.
    PKCS11::TokenInfo token_;
    std::uint64_t change_ = 0; // HeldToken::lastChange() after it
    Clock::time_point lastImport_{};
    bool inARow_ = false;
    std::optional<Content> content_;
};

} // namespace panelkitd
