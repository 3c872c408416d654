// SPDX-License-Identifier: MIT
#include <service/certs/token_objects.h>

#include <service/base/log.h>
#include <service/base/refused.h>
#include <service/modules/cryptoki.h>

#include <platform/text/escape.h>
#include <vocabulary/certs.h>
#include <vocabulary/tokens.h>

#include <algorithm>
#include <set>

namespace panelkitd {

using PKCS11::TokenInfo;

namespace {

// Returns the content of a DER octet string. PKCS#11 wraps the points of curves in one, but some tokens do not.
std::string contentOfOctetString(const std::string& value) {
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

// ---- what is read of each class, and what it becomes

const HostReading& certificateReading() {
    static const HostReading reading{CKO_CERTIFICATE, {CKA_VALUE, CKA_ID, CKA_LABEL, CKA_TRUSTED, CKA_PRIVATE}};
    return reading;
}

const HostReading& keyReading() {
    static const HostReading reading{CKO_PRIVATE_KEY,
                                     {CKA_KEY_TYPE, CKA_ID, CKA_LABEL, CKA_MODULUS, CKA_EXTRACTABLE, CKA_SENSITIVE,
                                      CKA_ALWAYS_AUTHENTICATE, CKA_SIGN}};
    return reading;
}

const HostReading& crlReading() {
    static const HostReading reading{CKO_DATA, {CKA_APPLICATION, CKA_VALUE}};
    return reading;
}

StoredCertificate certificateFrom(HostObject& object, FactsCache& cache) {
    const ObjectValues values(object.values);
    CertificateFactsPtr facts = cache.certificate(values.bytes(0));
    return {object.object,   std::move(object.values[0].bytes),
            values.bytes(1), utf8Only(values.bytes(2)),
            values.flag(3),  values.flag(4),
            std::move(facts)};
}

StoredKey keyFrom(const HostObject& object) {
    const ObjectValues values(object.values);
    return {object.object,
            values.number(0, vocabulary::keyType::unknown),
            values.bytes(1),
            utf8Only(values.bytes(2)),
            withoutLeadingZeros(values.bytes(3)),
            values.flag(4) && !values.flag(5, true),
            values.flag(6),
            values.flag(7, true)};
}

// Objects by class; data objects of other programs are left out.
TokenObjects sorted(std::vector<HostObject> objects, FactsCache& cache) {
    TokenObjects all;
    for (HostObject& object : objects) {
        switch (object.objectClass) {
        case CKO_CERTIFICATE: all.certificates.push_back(certificateFrom(object, cache)); break;
        case CKO_PRIVATE_KEY: all.keys.push_back(keyFrom(object)); break;
        case CKO_PUBLIC_KEY: all.publicKeys.push_back(publicKeyFrom(object.object, object.values)); break;
        case CKO_DATA:
            if (object.values[0].bytes != crlApplication) break;
            all.crls.push_back({object.object, object.values[1].bytes, cache.crl(object.values[1].bytes)});
            break;
        default: break;
        }
    }
    return all;
}

// ---- searches

HostQuery allOf(CK_OBJECT_CLASS kind, const HostReading& reading) {
    ObjectTemplate wanted;
    wanted.number(CKA_CLASS, kind);
    return {wanted, {reading}};
}

HostQuery allWith(CK_OBJECT_CLASS kind, CK_ATTRIBUTE_TYPE type, const std::string& value, const HostReading& reading) {
    ObjectTemplate wanted;
    wanted.number(CKA_CLASS, kind).bytes(type, value);
    return {wanted, {reading}};
}

// Returns the point of a curve in the form that PKCS#11 uses.
std::string pointAsAttribute(const CertificateFacts& certificate) {
    const std::unique_ptr<ASN1_OCTET_STRING, Release<ASN1_OCTET_STRING_free>> string(ASN1_OCTET_STRING_new());
    const std::string& point = certificate.publicKey;
    ASN1_OCTET_STRING_set(string.get(), bytesOf(point), static_cast<int>(point.size()));
    return derOf(string.get(), i2d_ASN1_OCTET_STRING);
}

} // namespace

const HostReading& publicKeyReading() {
    static const HostReading reading{
        CKO_PUBLIC_KEY,
        {CKA_KEY_TYPE, CKA_ID, CKA_LABEL, CKA_MODULUS, CKA_PUBLIC_EXPONENT, CKA_EC_POINT, CKA_EC_PARAMS}};
    return reading;
}

StoredPublicKey publicKeyFrom(std::uint64_t object, const std::vector<HostValue>& read) {
    const ObjectValues values(read);
    const CK_KEY_TYPE type = values.number(0, vocabulary::keyType::unknown);
    const bool isRsa = type == CKK_RSA;
    return {object,
            type,
            values.bytes(1),
            utf8Only(values.bytes(2)),
            isRsa ? withoutLeadingZeros(values.bytes(3)) : contentOfOctetString(values.bytes(5)),
            isRsa ? values.bytes(4) : values.bytes(6)};
}

// A search takes a token about as long as reading all that it finds, so there is one search for all classes.
TokenObjects readObjects(HeldToken& token, FactsCache& cache) {
    return sorted(token.find({{{}, {certificateReading(), keyReading(), publicKeyReading(), crlReading()}}}), cache);
}

TokenObjects readCertificatesAndKeys(HeldToken& token, FactsCache& cache) {
    return sorted(token.find({{{}, {certificateReading(), keyReading(), publicKeyReading()}}}), cache);
}

std::vector<StoredCertificate> readCertificates(HeldToken& token, FactsCache& cache) {
    return sorted(token.find({allOf(CKO_CERTIFICATE, certificateReading())}), cache).certificates;
}

TokenObjects readKeys(HeldToken& token) {
    FactsCache unused; // of certificates and lists
    return sorted(token.find({allOf(CKO_PRIVATE_KEY, keyReading()), allOf(CKO_PUBLIC_KEY, publicKeyReading())}),
                  unused);
}

std::vector<StoredCrl> readCrls(HeldToken& token, FactsCache& cache) {
    return sorted(token.find({allWith(CKO_DATA, CKA_APPLICATION, crlApplication, crlReading())}), cache).crls;
}

// An RSA key is found by its modulus. An EC private key does not have its point as an attribute. So it is found by the
// CKA_ID of its public key or of the certificate.
TokenObjects readRelated(HeldToken& token, const std::string& der, const CertificateFacts& facts, FactsCache& cache) {
    const bool isRsa = facts.info.keyType == vocabulary::keyType::rsa;
    std::vector<HostQuery> queries{allWith(CKO_CERTIFICATE, CKA_VALUE, der, certificateReading())};
    if (isRsa) {
        queries.push_back(allWith(CKO_PRIVATE_KEY, CKA_MODULUS, facts.publicKey, keyReading()));
    } else {
        queries.push_back(allWith(CKO_PUBLIC_KEY, CKA_EC_POINT, pointAsAttribute(facts), publicKeyReading()));
        queries.push_back(allWith(CKO_PRIVATE_KEY, CKA_ID, facts.keyId, keyReading()));
    }
    TokenObjects related = sorted(token.find(queries), cache);
    std::set<std::string> ids;
    for (const StoredPublicKey& key : related.publicKeys) ids.insert(key.id);
    for (const StoredCertificate& certificate : related.certificates) ids.insert(certificate.id);
    ids.erase(std::string());
    ids.erase(facts.keyId);
    if (isRsa || ids.empty()) return related;
    queries.clear();
    for (const std::string& id : ids) queries.push_back(allWith(CKO_PRIVATE_KEY, CKA_ID, id, keyReading()));
    for (StoredKey& key : sorted(token.find(queries), cache).keys) related.keys.push_back(std::move(key));
    return related;
}

// ---- all tokens

std::vector<UnseenTokens> forEachToken(const Providers& providers,
                                       const std::function<void(HeldToken&, const TokenInfo&)>& use) {
    std::vector<UnseenTokens> unseen;
    for (const auto& provider : providers.all()) {
        const SeenTokens seen = provider->tokens();
        unseen.insert(unseen.end(), seen.unseen.begin(), seen.unseen.end());
        for (const TokenInfo& token : seen.tokens) {
            if (!(token.flags & vocabulary::tokenFlag::initialized)) continue;
            try {
                HeldToken held = provider->holdForListing(token);
                use(held, token);
            } catch (const RefusedError& error) {
                logError("token " + platform::quotedName(token.*vocabulary::token::label) + ": " + error.what());
                unseen.push_back({RefusedError(vocabulary::Refused::incomplete, "the token \"%s\" could not be read",
                                               token.*vocabulary::token::label)
                                      .because(error)
                                      .remarks,
                                  provider->settings().name, token});
            }
        }
    }
    return unseen;
}

void requireAllSeen(const std::vector<UnseenTokens>& unseen) {
    if (!unseen.empty()) throw RefusedError(unseen[0].why);
}

void tellUnseen(Call& call, const std::vector<UnseenTokens>& unseen) {
    if (call.session.version < bridge::remarksSince) return requireAllSeen(unseen);
    for (const UnseenTokens& tokens : unseen) {
        call.remarks.insert(call.remarks.end(), tokens.why.begin(), tokens.why.end());
    }
}

void tellClosed(Call& call, const std::vector<TokenInfo>& closed) {
    if (call.session.version < bridge::remarksSince) return;
    for (const TokenInfo& token : closed) {
        call.remarks.push_back(remark(vocabulary::Refused::incomplete,
                                      "the private objects on token \"%s\" are not seen",
                                      token.*vocabulary::token::label));
        call.remarks.push_back(remark(vocabulary::Refused::notLoggedIn, "nobody is logged in to it"));
    }
}

const StoredKey* TokenObjects::keyOf(const CertificateFacts& certificate, const std::string& id) const {
    // An EC private key does not have its point as an attribute, but the public key with the same CKA_ID has it.
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
