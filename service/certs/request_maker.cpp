// SPDX-License-Identifier: MIT
#include <service/certs/request_maker.h>

#include <service/base/log.h>
#include <service/base/refused.h>
#include <service/certs/key_usages.h>
#include <service/certs/request_keys.h>

#include <openssl/err.h>
#include <openssl/pem.h>

#include <algorithm>
#include <array>

namespace panelkitd {

using Loc::N_;
using vocabulary::MakeRequest;
using vocabulary::Refused;
using vocabulary::RequestFormat;

namespace {

using RequestHandle = std::unique_ptr<X509_REQ, Release<X509_REQ_free>>;
using NameHandle = std::unique_ptr<X509_NAME, Release<X509_NAME_free>>;
using ExtensionsHandle = std::unique_ptr<STACK_OF(X509_EXTENSION), Release<freeExtensions>>;
using NamesHandle = std::unique_ptr<GENERAL_NAMES, Release<GENERAL_NAMES_free>>;

// Thrown to stop with a result.
struct Unfit {
    MakeRequest result;
    bridge::Remark why;
};

// ---- names

struct NamePart {
    int kind;
    std::string CertRequestInfo::*field;
    Loc::MarkedWording<> ifUnfit;
};

// clang-format off
constexpr std::array nameParts = { // from the outermost on
    NamePart{NID_countryName,            &CertRequestInfo::country,            N_("X.509 does not take this country (two letters).")},
    NamePart{NID_stateOrProvinceName,    &CertRequestInfo::stateOrProvince,    N_("X.509 does not take this state or province.")},
    NamePart{NID_localityName,           &CertRequestInfo::locality,           N_("X.509 does not take this locality.")},
    NamePart{NID_organizationName,       &CertRequestInfo::organization,       N_("X.509 does not take this organization.")},
    NamePart{NID_organizationalUnitName, &CertRequestInfo::organizationalUnit, N_("X.509 does not take this organizational unit.")},
    NamePart{NID_commonName,             &CertRequestInfo::commonName,         N_("X.509 does not take this common name.")},
};
// clang-format on

struct AlternativeKind {
    const char* prefix;
    int kind;
};

constexpr std::array alternativeKinds = {AlternativeKind{"DNS", GEN_DNS}, AlternativeKind{"IP", GEN_IPADD},
                                         AlternativeKind{"email", GEN_EMAIL}, AlternativeKind{"URI", GEN_URI}};

NameHandle subjectOf(const CertRequestInfo& wish) {
    NameHandle name(X509_NAME_new());
    for (const NamePart& part : nameParts) {
        const std::string& value = wish.*part.field;
        if (value.empty()) continue;
        if (X509_NAME_add_entry_by_NID(name.get(), part.kind, MBSTRING_UTF8, bytesOf(value),
                                       static_cast<int>(value.size()), -1, 0) != 1) {
            throw Unfit{MakeRequest::subjectUnfit, remark(Refused::badInput, part.ifUnfit)};
        }
    }
    return name;
}

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string::npos ? std::string() : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

void addAlternativeName(GENERAL_NAMES* names, const std::string& text) {
    const std::size_t colon = std::min(text.find(':'), text.size());
    const std::string value = colon == text.size() ? std::string() : trimmed(text.substr(colon + 1));
    const auto kind = std::find_if(alternativeKinds.begin(), alternativeKinds.end(),
                                   [&](const auto& candidate) { return text.substr(0, colon) == candidate.prefix; });
    const bool plain =
        !value.empty() && std::all_of(value.begin(), value.end(), [](char c) { return c > ' ' && c < '\x7F'; });
    GENERAL_NAME* name = kind != alternativeKinds.end() && plain
                             ? a2i_GENERAL_NAME(nullptr, nullptr, nullptr, kind->kind, value.c_str(), 0)
                             : nullptr;
    if (!name) {
        throw Unfit{MakeRequest::subjectUnfit,
                    remark(Refused::badInput,
                           "\"%s\" is not an alternative name: DNS:, IP:, email: or URI: and its value in plain "
                           "characters.",
                           text)};
    }
    sk_GENERAL_NAME_push(names, name);
}

NamesHandle alternativeNames(const std::string& text) {
    NamesHandle names(sk_GENERAL_NAME_new_null());
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find(',', at), text.size());
        addAlternativeName(names.get(), trimmed(text.substr(at, end - at)));
        at = end + 1;
    }
    return names;
}

// ---- extensions

void addUsage(STACK_OF(X509_EXTENSION) * extensions, int kind, const std::string& value) {
    if (value.empty()) return;
    X509V3_CTX context{};
    X509V3_set_ctx_nodb(&context);
    if (X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str())) {
        sk_X509_EXTENSION_push(extensions, extension);
    }
}

ExtensionsHandle extensionsOf(const CertRequestInfo& wish) {
    ExtensionsHandle extensions(sk_X509_EXTENSION_new_null());
    const std::string usage = keyUsageValue(wish.keyUsage);
    addUsage(extensions.get(), NID_key_usage, usage.empty() ? usage : "critical," + usage);
    addUsage(extensions.get(), NID_ext_key_usage, extendedKeyUsageValue(wish.keyUsage));
    const NamesHandle names = alternativeNames(wish.alternativeNames);
    if (sk_GENERAL_NAME_num(names.get()) > 0) {
        sk_X509_EXTENSION_push(extensions.get(), X509V3_EXT_i2d(NID_subject_alt_name, 0, names.get()));
    }
    return extensions;
}

// Makes the request without its key and signature. So mistakes of the user are found before a key is created.
RequestHandle drafted(const CertRequestInfo& wish) {
    RequestHandle request(X509_REQ_new());
    const NameHandle subject = subjectOf(wish);
    const ExtensionsHandle extensions = extensionsOf(wish);
    if (X509_NAME_entry_count(subject.get()) == 0 && wish.alternativeNames.empty()) {
        throw Unfit{MakeRequest::subjectUnfit, remark(Refused::badInput, "The request names nobody.")};
    }
    X509_REQ_set_version(request.get(), 0);
    X509_REQ_set_subject_name(request.get(), subject.get());
    if (sk_X509_EXTENSION_num(extensions.get()) > 0) X509_REQ_add_extensions(request.get(), extensions.get());
    return request;
}

// ---- key and signature

bridge::Remark notOnePair(std::size_t found, const std::string& label) {
    if (found == 0) return remark(Refused::noSuchObject, "The token has no key pair \"%s\".", label);
    return remark(Refused::badInput, "Several key pairs are called \"%s\".", label);
}

// A key pair for a request. A pair that was created for the request is destroyed again unless keep() is called, so that
// a request that fails half-way leaves the token as it was.
class RequestPair {
public:
    RequestPair(HeldToken& token, TokenKeyPair pair, bool made) : token_(token), pair_(std::move(pair)), made_(made) {}
    ~RequestPair() {
        if (!made_) return;
        try {
            token_.destroy({pair_.privateKey, pair_.publicKey});
        } catch (const RefusedError& error) {
            logError(std::string("the key pair of a failed request stays on the token: ") + error.what());
        }
    }
    RequestPair(const RequestPair&) = delete;
    RequestPair& operator=(const RequestPair&) = delete;

    const TokenKeyPair& operator*() const { return pair_; }
    void keep() { made_ = false; }

private:
    HeldToken& token_;
    const TokenKeyPair pair_;
    bool made_;
};

TokenKeyPair existingPair(const TokenObjects& keys, const RequestChoices& choices, const CertRequestInfo& wish) {
    std::vector<TokenKeyPair> found = findPairs(keys, wish.keyLabel);
    if (found.size() != 1) throw Unfit{MakeRequest::noSuchKey, notOnePair(found.size(), wish.keyLabel)};
    if (choices.offersDigest(found[0].type, wish.digest)) return std::move(found[0]);
    throw Unfit{MakeRequest::keyUnfit,
                remark(Refused::notSupported, "The token does not sign with that key and digest.")};
}

TokenKeyPair newPair(HeldToken& token, const TokenObjects& keys, const RequestChoices& choices,
                     const CertRequestInfo& wish) {
    if (!choices.offers(wish.keyType, wish.keyBits) || !choices.offersDigest(wish.keyType, wish.digest)) {
        throw Unfit{MakeRequest::keyUnfit,
                    remark(Refused::notSupported, "The token has no such choice of key type, size and digest.")};
    }
    const std::string label = wish.keyLabel.empty() ? wish.commonName : wish.keyLabel;
    if (std::any_of(keys.keys.begin(), keys.keys.end(), [&](const StoredKey& key) { return key.label == label; })) {
        throw Unfit{MakeRequest::keyUnfit,
                    remark(Refused::alreadyThere, "The token has a key called \"%s\" already.", label)};
    }
    return generatePair(token, wish, label);
}

void setAlgorithm(X509_REQ* request, const TokenKeyPair& pair, const EVP_MD* digest) {
    int signature = NID_undef;
    const int key = pair.type == CKK_EC ? NID_X9_62_id_ecPublicKey : NID_rsaEncryption;
    OBJ_find_sigid_by_algs(&signature, EVP_MD_get_type(digest), key);
    const std::unique_ptr<X509_ALGOR, Release<X509_ALGOR_free>> algorithm(X509_ALGOR_new());
    X509_ALGOR_set0(algorithm.get(), OBJ_nid2obj(signature), pair.type == CKK_EC ? V_ASN1_UNDEF : V_ASN1_NULL, nullptr);
    X509_REQ_set1_signature_algo(request, algorithm.get());
}

// A token may also make each new key one that asks for the PIN, so that is looked up here.
bool asksForPin(HeldToken& token, const TokenKeyPair& pair) {
    const std::vector<HostValue> values = token.read(pair.privateKey, {CKA_ALWAYS_AUTHENTICATE});
    return !values.empty() && ObjectValues(values).flag(0);
}

// Returns the PIN if the key needs it. Throws RefusedError when there is none.
const platform::Secret* pinFor(HeldToken& token, const TokenKeyPair& pair, const std::string& label,
                               const platform::Secret* pin) {
    if (!asksForPin(token, pair)) return nullptr;
    if (pin) return pin;
    throw RefusedError(Refused::notLoggedIn, "the token asks for the PIN at each use of the key \"%s\"", label);
}

void sign(X509_REQ* request, HeldToken& token, const TokenKeyPair& pair, const std::vector<HostMechanism>& mechanisms,
          std::uint32_t digest, const platform::Secret* pin) {
    X509_REQ_set_pubkey(request, pair.key.get());
    setAlgorithm(request, pair, digestOf(digest));
    const std::string signature =
        signOnToken(token, pair, mechanisms, digest, derOf(request, i2d_re_X509_REQ_tbs), pin);
    ASN1_BIT_STRING* bits = ASN1_BIT_STRING_new();
    ASN1_BIT_STRING_set(bits, const_cast<unsigned char*>(bytesOf(signature)), // NOLINT(*-const-cast): it only reads
                        static_cast<int>(signature.size()));
    bits->flags = (bits->flags & ~0x07) | ASN1_STRING_FLAG_BITS_LEFT;
    X509_REQ_set0_signature(request, bits); // takes it over
    const bool good = X509_REQ_verify(request, pair.key.get()) == 1;
    ERR_clear_error();
    if (!good) throw RefusedError(Refused::deviceError, "the token's signature does not verify");
}

std::string written(X509_REQ* request, RequestFormat format) {
    if (format == RequestFormat::der) return derOf(request, i2d_X509_REQ);
    const BioHandle bio = collectingBio();
    PEM_write_bio_X509_REQ(bio.get(), request);
    return takenText(bio);
}

} // namespace

CertOutcome<MakeRequest> makeRequest(HeldToken& token, const CertRequestInfo& wish, const platform::Secret* pin,
                                     std::string& content) {
    try {
        const RequestHandle request = drafted(wish);
        ERR_clear_error();
        token.requireWritable();
        const std::vector<HostMechanism> mechanisms = token.mechanisms();
        const RequestChoices choices(mechanisms);
        const TokenObjects keys = readKeys(token);
        const bool makes = !wish.useExistingKey;
        RequestPair pair(token, makes ? newPair(token, keys, choices, wish) : existingPair(keys, choices, wish), makes);
        sign(request.get(), token, *pair, mechanisms, wish.digest, pinFor(token, *pair, wish.keyLabel, pin));
        content = written(request.get(), static_cast<RequestFormat>(wish.format));
        pair.keep();
        return MakeRequest::made;
    } catch (const Unfit& unfit) {
        ERR_clear_error();
        return {unfit.result, unfit.why};
    }
}

MakeRequest requestResult(Refused reason) {
    switch (reason) {
    case Refused::notLoggedIn: return MakeRequest::notLoggedIn;
    case Refused::tokenFull: return MakeRequest::tokenFull;
    case Refused::noSuchToken:
    case Refused::ambiguousToken:
    case Refused::noSuchProvider: return MakeRequest::noSuchToken;
    default: return MakeRequest::refusedByToken;
    }
}

} // namespace panelkitd
