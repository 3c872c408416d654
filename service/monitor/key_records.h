// SPDX-License-Identifier: MIT
//
// The objects of a token as key pairs: which private and public keys belong together, and which certificates they have.
#pragma once

#include <service/certs/token_objects.h>

#include <panelkit/monitor/monitor_records.h>

#include <cstdint>
#include <vector>

namespace panelkitd {

// A key pair, or one half of it. The pointers are to objects of the token, null for a half that is not visible.
struct KeyPair {
    const StoredKey* privateKey = nullptr;
    const StoredPublicKey* publicKey = nullptr;
    std::vector<const StoredCertificate*> certificates;

    // Of the two halves, for HeldToken::destroy().
    std::vector<std::uint64_t> numbers() const;
};

// Returns all pairs, those with a private key first. `objects` must outlive them.
std::vector<KeyPair> keyPairs(const TokenObjects& objects);

panelkit::KeyInfo describe(const KeyPair& pair);

// Returns the pair of that record. Throws RefusedError when there is none, or several.
KeyPair findPair(const TokenObjects& objects, const panelkit::KeyInfo& record);

} // namespace panelkitd
