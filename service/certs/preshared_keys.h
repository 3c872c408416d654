// SPDX-License-Identifier: MIT
//
// Preshared keys on a token: secret keys that never leave it, or private data objects on tokens that can't hold such
// keys. Both are visible only after log-in.
#pragma once

#include <service/certs/token_attributes.h>

#include <map>
#include <string>
#include <vector>

namespace panelkitd {

struct StoredPresharedKey {
    std::uint64_t object;
    std::string name;
};

// Returns the keys that are visible now. Throws RefusedError when the token refuses.
std::vector<StoredPresharedKey> readPresharedKeys(HeldToken& token);

// Returns the values of the keys that are visible now, by name, as far as the token gives them out.
std::map<std::string, platform::Secret> readPresharedKeyValues(HeldToken& token);

// How a preshared key is kept on its token.
enum class KeyUse : unsigned char {
    stored,   // it never leaves the token, if the token can keep such keys
    byEngine, // the service can read it after a log-in, to give it to the engine
};

// Stores a key on the token. Throws RefusedError when the name or value is not allowed, when the name is taken, and
// when the token refuses.
void createPresharedKey(HeldToken& token, const std::string& name, const platform::Secret& value,
                        KeyUse use = KeyUse::stored);

} // namespace panelkitd
