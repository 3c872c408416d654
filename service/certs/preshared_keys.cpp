// SPDX-License-Identifier: MIT
#include <service/certs/preshared_keys.h>

#include <service/base/plain_text.h>
#include <service/base/refused.h>
#include <service/modules/cryptoki.h>

#include <algorithm>

namespace panelkitd {

using vocabulary::Refused;

namespace {

constexpr const char* mark = "panelkit PSK"; // CKA_ID of the keys, CKA_APPLICATION of the data objects
constexpr std::size_t longestName = 64;      // characters
constexpr std::size_t longestValue = 1024;   // bytes

void checkName(const std::string& name) {
    const auto characters = plainCharacters(name);
    if (!characters) {
        throw RefusedError(Refused::badInput, "the name of a preshared key is plain text without control characters");
    }
    if (*characters == 0 || *characters > longestName) {
        throw RefusedError(Refused::badInput, "the name of a preshared key has 1 to %d characters; this one has %d",
                           longestName, *characters);
    }
}

void createKey(HeldToken& token, const std::string& name, const platform::Secret& value) {
    ObjectTemplate object;
    object.number(CKA_CLASS, CKO_SECRET_KEY).number(CKA_KEY_TYPE, CKK_GENERIC_SECRET).flag(CKA_TOKEN, true);
    object.flag(CKA_PRIVATE, true).flag(CKA_SENSITIVE, true).flag(CKA_EXTRACTABLE, false).flag(CKA_SIGN, true);
    object.bytes(CKA_LABEL, name).bytes(CKA_ID, mark).bytes(CKA_VALUE, value);
    token.create({object});
}

void createData(HeldToken& token, const std::string& name, const platform::Secret& value) {
    ObjectTemplate object;
    object.number(CKA_CLASS, CKO_DATA).flag(CKA_TOKEN, true).flag(CKA_PRIVATE, true);
    object.bytes(CKA_LABEL, name).bytes(CKA_APPLICATION, mark).bytes(CKA_VALUE, value);
    token.create({object});
}

} // namespace

std::vector<StoredPresharedKey> readPresharedKeys(HeldToken& token) {
    ObjectTemplate keys, data;
    keys.number(CKA_CLASS, CKO_SECRET_KEY).bytes(CKA_ID, mark);
    data.number(CKA_CLASS, CKO_DATA).bytes(CKA_APPLICATION, mark);
    std::vector<StoredPresharedKey> list;
    for (const HostObject& object :
         token.find({{keys, {{CKO_SECRET_KEY, {CKA_LABEL}}}}, {data, {{CKO_DATA, {CKA_LABEL}}}}})) {
        list.push_back({object.object, utf8Only(object.values[0].bytes)});
    }
    return list;
}

std::map<std::string, platform::Secret> readPresharedKeyValues(HeldToken& token) {
    std::map<std::string, platform::Secret> values;
    for (const StoredPresharedKey& key : readPresharedKeys(token)) {
        const std::vector<HostValue> read = token.read(key.object, {CKA_VALUE});
        if (!read.empty() && read[0].known && !read[0].bytes.empty()) values[key.name].take(read[0].bytes);
    }
    return values;
}

void createPresharedKey(HeldToken& token, const std::string& name, const platform::Secret& value, KeyUse use) {
    checkName(name);
    if (value.empty() || value.size() > longestValue) {
        throw RefusedError(Refused::badInput, "a preshared key has 1 to %d bytes", longestValue);
    }
    const auto present = readPresharedKeys(token);
    if (std::any_of(present.begin(), present.end(), [&](const auto& other) { return other.name == name; })) {
        throw RefusedError(Refused::badInput, "the token has a preshared key \"%s\" already", name);
    }
    if (use == KeyUse::byEngine) return createData(token, name, value);
    try {
        createKey(token, name, value);
    } catch (const RefusedError& refused) {
        if (refused.reason != Refused::notSupported && refused.reason != Refused::badInput) throw;
        createData(token, name, value);
    }
}

} // namespace panelkitd
