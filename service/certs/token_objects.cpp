// SPDX-License-Identifier: MIT
#include <service/certs/token_objects.h>

#include <service/base/log.h>
#include <service/base/refused.h>
#include <service/tokens/cryptoki.h>

#include <vocabulary/certs.h>
#include <vocabulary/tokens.h>

#include <algorithm>
#include <map>
#include <set>

namespace panelkitd {

using PKCS11::TokenInfo;

namespace {

// What stands in a DER octet string, in which PKCS#11 has the points of curves. Some tokens leave it out.
std::string insideOctetString(const std::string& value) {
    using String = std::unique_ptr<ASN1_OCTET_STRING, Release<ASN1_OCTET_STRING_free>>;
    std::string_view rest = value;
    const String string = readDer<String>(rest, d2i_ASN1_OCTET_STRING);
    if (!string || !rest.empty()) return value;
    return {reinterpret_cast<const char*>(ASN1_STRING_get0_data(string.get())),
            static_cast<std::size_t>(ASN1_STRING_length(string.get()))};
}

std::string withoutLeadingZeros(std::string number) {
    number.erase(0, std::min(number.find_first_not_of('\0'), number.size()));
    return number;
}

using Handles = std::vector<CK_OBJECT_HANDLE>;

// Reads the same attributes of each object.
template <class Take>
void forEach(const OpenToken& token, const Handles& objects, std::vector<CK_ATTRIBUTE_TYPE> types, Take take) {
    if (objects.empty()) return;
    AttributeReader reader(token, std::move(types));
    for (const CK_OBJECT_HANDLE object : objects) {
        if (reader.read(object)) take(object, reader);
    }
}

Handles ofClass(const OpenToken& token, CK_OBJECT_CLASS kind) {
    ObjectTemplate wanted;
    wanted.number(CKA_CLASS, kind);
    return token.find(wanted);
}

std::vector<StoredCertificate> certificatesFrom(const OpenToken& token, const Handles& objects, FactsCache& cache) {
    std::vector<StoredCertificate> list;
    forEach(token, objects, {CKA_VALUE, CKA_ID, CKA_LABEL, CKA_TRUSTED, CKA_PRIVATE},
            [&](CK_OBJECT_HANDLE object, const AttributeReader& reader) {
                std::string der = reader.bytes(0);
                CertificateFactsPtr facts = cache.certificate(der);
                list.push_back({object, std::move(der), reader.bytes(1), utf8Only(reader.bytes(2)), reader.flag(3),
                                reader.flag(4), std::move(facts)});
            });
    return list;
}

std::vector<StoredKey> keysFrom(const OpenToken& token, const Handles& objects) {
    std::vector<StoredKey> list;
    forEach(token, objects,
            {CKA_KEY_TYPE, CKA_ID, CKA_LABEL, CKA_MODULUS, CKA_EXTRACTABLE, CKA_SENSITIVE, CKA_ALWAYS_AUTHENTICATE},
            [&](CK_OBJECT_HANDLE object, const AttributeReader& reader) {
                list.push_back({object, reader.number(0, vocabulary::keyType::unknown), reader.bytes(1),
                                utf8Only(reader.bytes(2)), withoutLeadingZeros(reader.bytes(3)),
                                reader.flag(4) && !reader.flag(5, true), reader.flag(6)});
            });
    return list;
}

std::vector<StoredPublicKey> publicKeysFrom(const OpenToken& token, const Handles& objects) {
    std::vector<StoredPublicKey> list;
    forEach(token, objects, {CKA_KEY_TYPE, CKA_ID, CKA_LABEL, CKA_MODULUS, CKA_EC_POINT, CKA_EC_PARAMS},
            [&](CK_OBJECT_HANDLE object, const AttributeReader& reader) {
                const CK_KEY_TYPE type = reader.number(0, vocabulary::keyType::unknown);
                list.push_back(
                    {object, type, reader.bytes(1), utf8Only(reader.bytes(2)),
                     type == CKK_RSA ? withoutLeadingZeros(reader.bytes(3)) : insideOctetString(reader.bytes(4)),
                     reader.bytes(5)});
            });
    return list;
}

std::vector<StoredCrl> crlsFrom(const OpenToken& token, const Handles& objects, FactsCache& cache) {
    std::vector<StoredCrl> list;
    forEach(token, objects, {CKA_APPLICATION, CKA_VALUE}, [&](CK_OBJECT_HANDLE object, const AttributeReader& reader) {
        if (reader.bytes(0) != crlApplication) return;
        std::string der = reader.bytes(1);
        CrlFactsPtr facts = cache.crl(der);
        list.push_back({object, std::move(der), std::move(facts)});
    });
    return list;
}

// The objects of all classes but certificates, by class. To search a token for one class takes it about as long as to
// read all that it finds, so the few other objects are searched for together.
std::map<CK_OBJECT_CLASS, Handles> othersThan(const std::vector<StoredCertificate>& known, const OpenToken& token) {
    std::set<CK_OBJECT_HANDLE> certificates;
    for (const StoredCertificate& certificate : known) certificates.insert(certificate.object);
    ObjectTemplate anything;
    Handles others = token.find(anything);
    std::erase_if(others, [&](CK_OBJECT_HANDLE object) { return certificates.count(object) != 0; });
    std::map<CK_OBJECT_CLASS, Handles> byClass;
    forEach(token, others, {CKA_CLASS}, [&](CK_OBJECT_HANDLE object, const AttributeReader& reader) {
        byClass[reader.number(0, CKO_VENDOR_DEFINED)].push_back(object);
    });
    return byClass;
}

} // namespace

std::vector<StoredCertificate> readCertificates(const OpenToken& token, FactsCache& cache) {
    return certificatesFrom(token, ofClass(token, CKO_CERTIFICATE), cache);
}

std::vector<StoredKey> readKeys(const OpenToken& token) { return keysFrom(token, ofClass(token, CKO_PRIVATE_KEY)); }

std::vector<StoredPublicKey> readPublicKeys(const OpenToken& token) {
    return publicKeysFrom(token, ofClass(token, CKO_PUBLIC_KEY));
}

std::vector<StoredCrl> readCrls(const OpenToken& token, FactsCache& cache) {
    return crlsFrom(token, ofClass(token, CKO_DATA), cache);
}

TokenObjects readObjects(const HeldToken& held, const TokenInfo& info, FactsCache& cache) {
    const OpenToken token(held, TokenSession::Mode::readOnly);
    TokenObjects all{info, readCertificates(token, cache), {}, {}, {}};
    auto others = othersThan(all.certificates, token);
    all.keys = keysFrom(token, others[CKO_PRIVATE_KEY]);
    all.publicKeys = publicKeysFrom(token, others[CKO_PUBLIC_KEY]);
    all.crls = crlsFrom(token, others[CKO_DATA], cache);
    return all;
}

std::vector<UnseenToken> forEachToken(const Providers& providers,
                                      const std::function<void(const HeldToken&, const TokenInfo&)>& use) {
    std::vector<UnseenToken> unseen;
    for (const auto& provider : providers.all()) {
        for (const TokenInfo& token : provider->tokens()) {
            if (!(token.flags & vocabulary::tokenFlag::initialized)) continue;
            try {
                use(provider->hold(token), token);
            } catch (const RefusedError& error) {
                logError("token \"" + token.*vocabulary::token::label + "\": " + error.what());
                unseen.push_back({token, error.remarks});
            }
        }
    }
    return unseen;
}

void requireAllSeen(const std::vector<UnseenToken>& unseen) {
    if (unseen.empty()) return;
    throw RefusedError(vocabulary::Refused::incomplete,
                       "the token \"%s\" could not be read, so the answer would be incomplete",
                       unseen[0].token.*vocabulary::token::label)
        .because(unseen[0].why);
}

const StoredKey* TokenObjects::keyOf(const CertificateFacts& certificate, const std::string& id) const {
    // An EC private key does not tell its point; its public key, tied to it by CKA_ID, does.
    const auto publicKey = std::find_if(publicKeys.begin(), publicKeys.end(), [&](const StoredPublicKey& key) {
        return key.type == certificate.info.keyType && key.material == certificate.publicKey;
    });
    const std::string pairId = publicKey == publicKeys.end() ? std::string() : publicKey->id;
    const auto belongs = [&](const StoredKey& key) {
        if (key.type != certificate.info.keyType) return false;
        if (!key.modulus.empty()) return key.modulus == certificate.publicKey;
        if (key.id.empty()) return false;
        return key.id == pairId || key.id == id || key.id == certificate.keyId;
    };
    const auto key = std::find_if(keys.begin(), keys.end(), belongs);
    return key == keys.end() ? nullptr : &*key;
}

} // namespace panelkitd
