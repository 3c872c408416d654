// SPDX-License-Identifier: MIT
//
// What the token of an import has already. A single import searches for the objects of its certificates. Some tokens
// take as long for a search as for reading everything. So what was read of the tokens when the file was parsed is used
// for the imports that follow at once. When several are carried out together, the token is read before; when they
// follow each other, the second one reads it.
#pragma once

#include <service/certs/parsed_file.h>
#include <service/certs/token_objects.h>

#include <chrono>
#include <string>
#include <unordered_map>
#include <vector>

namespace panelkitd {

class Holdings;

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

    // Takes what was read of all tokens just now.
    void remember(const Holdings& everything);

    // Called before each import, or before several that are carried out together, with the token that is held for it.
    void begin(const HeldToken& token, std::size_t imports);
    Present of(HeldToken& token, const FileCertificate& certificate, FactsCache& cache);
    // Called for each object that will be created, and then when all are stored, or when none could be.
    void willHave(const HeldToken& token, const Made& object);
    void stored(const HeldToken& token);
    void forget(const HeldToken& token);

private:
    using Clock = std::chrono::steady_clock;

    // Of a whole token, without the values of its certificates.
    struct Content {
        PKCS11::TokenInfo token;
        std::uint64_t lastChange = 0; // HeldToken::lastChange() when it was read, and after our own imports
        std::unordered_map<std::string, std::string> idOf; // by fingerprint
        TokenObjects keys;
        Clock::time_point validUntil;
    };
    static Content contentOf(TokenObjects objects);
    Content read(HeldToken& token, FactsCache& cache) const;
    Content* contentOf(const HeldToken& token);
    void ended(const HeldToken& token);

    std::vector<Content> contents_; // at most one of each token

    // Of the last import.
    PKCS11::TokenInfo token_;
    std::uint64_t change_ = 0; // HeldToken::lastChange() after it
    Clock::time_point lastImport_{};
    bool isOneOfSeveral_ = false; // the import that has begun
};

} // namespace panelkitd
