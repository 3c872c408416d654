// SPDX-License-Identifier: MIT
//
// The commands on key pairs and on the labels of certificates.
#include <service/monitor/monitor_commands.h>

#include <service/base/plain_text.h>
#include <service/certs/holdings.h>
#include <service/certs/request_keys.h>
#include <service/certs/x509_text.h>
#include <service/modules/cryptoki.h>
#include <service/monitor/key_records.h>

#include <panelkit/bridge/payload.h>
#include <platform/text/ascii.h>
#include <platform/text/escape.h>
#include <vocabulary/tokens.h>

#include <openssl/pem.h>

#include <algorithm>

namespace panelkitd {

using panelkit::CertLabel;
using panelkit::Command;
using panelkit::encodeReply;
using panelkit::KeyInfo;
using panelkit::TokenLabels;
using PKCS11::TokenInfo;
using vocabulary::Refused;

namespace {

constexpr std::size_t longestLabel = 64; // characters

// Calls `use` for the token that the request names, or for every token when it names none. Returns the tokens that
// could not be read. A single token that can't be read is a refusal.
template <class Use>
std::vector<UnseenTokens> forTokens(Call& call, const Providers& providers, const Use& use) {
    if (call.in.position() == call.in.size()) return forEachToken(providers, use);
    const TokenInfo named = readToken(call);
    PKCS11::ProviderInfo provider;
    provider.*vocabulary::provider::name = named.*vocabulary::token::provider;
    HeldToken held = providers.find(provider)->holdForListing(named);
    use(held, held.info());
    return {};
}

KeyInfo readKey(Call& call) {
    KeyInfo key;
    call.in >> key;
    call.subject += ", key " + platform::quotedName(key.label);
    return key;
}

} // namespace

// ---- what there is

std::string MonitorCommands::enumKeys(Call& call) {
    std::vector<panelkit::Pair<TokenInfo, KeyInfo>> keys;
    std::vector<TokenInfo> closed;
    const auto unseen = forTokens(call, providers_, [&](HeldToken& held, const TokenInfo& token) {
        const TokenObjects objects = readCertificatesAndKeys(held, certificates_.facts());
        for (const KeyPair& pair : keyPairs(objects)) keys.push_back({token, describe(pair)});
        if (needsLogin(token)) closed.push_back(token);
    });
    tellUnseen(call, unseen);
    tellClosed(call, closed);
    return encodeReply<Command::EnumKeys>(keys);
}

std::string MonitorCommands::publicKey(Call& call) {
    const TokenInfo info = readToken(call);
    const KeyInfo record = readKey(call);
    HeldToken token = providers_.hold(info);
    const TokenObjects objects = readCertificatesAndKeys(token, certificates_.facts());
    const KeyPair pair = findPair(objects, record);
    const KeyHandle key = pair.publicKey ? publicHalf(*pair.publicKey) : nullptr;
    if (!key) throw RefusedError(Refused::noSuchObject, "the token does not have the public half of the key");
    const BioHandle pem = collectingBio();
    PEM_write_bio_PUBKEY(pem.get(), key.get());
    return encodeReply<Command::GetPublicKey>(takenText(pem));
}

// Reads only what is needed: parsing thousands of certificates would take longer than reading them.
std::string MonitorCommands::enumLabels(Call& call) {
    ObjectTemplate wanted;
    wanted.number(CKA_CLASS, CKO_CERTIFICATE);
    const HostQuery query{wanted, {{CKO_CERTIFICATE, {CKA_VALUE, CKA_LABEL, CKA_ID}}}};
    std::vector<TokenLabels> labels;
    const auto unseen = forTokens(call, providers_, [&](HeldToken& held, const TokenInfo& token) {
        std::vector<CertLabel> its;
        for (const HostObject& object : held.find({query})) {
            const ObjectValues values(object.values);
            its.push_back({platform::hexText(sha256(values.bytes(0))), utf8Only(values.bytes(1)),
                           platform::hexText(values.bytes(2))});
        }
        labels.push_back({token, std::move(its)});
    });
    tellUnseen(call, unseen);
    return encodeReply<Command::EnumCertLabels>(labels);
}

// ---- a new one

namespace {

void checkLabel(const std::string& label) {
    const auto characters = plainCharacters(label);
    if (!characters) {
        throw RefusedError(Refused::badInput, "the label of a key is plain text without control characters");
    }
    if (*characters == 0 || *characters > longestLabel) {
        throw RefusedError(Refused::badInput, "the label of a key has 1 to %d characters; this one has %d",
                           longestLabel, *characters);
    }
}

void requireFree(const TokenObjects& keys, const std::string& label) {
    const auto taken = [&](const auto& key) { return key.label == label; };
    if (std::any_of(keys.keys.begin(), keys.keys.end(), taken) ||
        std::any_of(keys.publicKeys.begin(), keys.publicKeys.end(), taken)) {
        throw RefusedError(Refused::alreadyThere, "the token has a key called \"%s\" already", label);
    }
}

} // namespace

std::string MonitorCommands::generateKey(Call& call) {
    const TokenInfo info = readToken(call);
    CertRequestInfo wish; // the part of it that describes a key
    readRequest<Command::GenerateKey, 1>(call, wish.keyType, wish.keyBits, wish.keyLabel);
    call.subject += ", key " + platform::quotedName(wish.keyLabel);
    checkLabel(wish.keyLabel);
    HeldToken token = providers_.hold(info);
    token.requireWritable();
    if (!RequestChoices(token.mechanisms()).offers(wish.keyType, wish.keyBits)) {
        throw RefusedError(Refused::notSupported, "the token can't make a key of that type and size");
    }
    requireFree(readKeys(token), wish.keyLabel);
    const TokenKeyPair made = generatePair(token, wish, wish.keyLabel);
    call.outcome = "done";
    const TokenObjects objects = readCertificatesAndKeys(token, certificates_.facts());
    for (const KeyPair& pair : keyPairs(objects)) {
        if (pair.privateKey && pair.privateKey->object == made.privateKey) {
            return encodeReply<Command::GenerateKey>(describe(pair));
        }
    }
    throw RefusedError(Refused::deviceError, "the token has made a key and does not show it");
}

// ---- away

std::string MonitorCommands::deleteKey(Call& call) {
    const TokenInfo info = readToken(call);
    const KeyInfo record = readKey(call);
    HeldToken token = providers_.hold(info);
    token.requireWritable();
    const TokenObjects objects = readCertificatesAndKeys(token, certificates_.facts());
    token.destroy(findPair(objects, record).numbers());
    return {};
}

namespace {

// Returns the pair to which the certificate belongs.
KeyPair pairOf(const std::vector<KeyPair>& pairs, const StoredCertificate* certificate) {
    for (const KeyPair& pair : pairs) {
        const auto& its = pair.certificates;
        if (pair.privateKey && std::find(its.begin(), its.end(), certificate) != its.end()) return pair;
    }
    throw RefusedError(Refused::noSuchObject, "the private key of the certificate is not on the token");
}

} // namespace

// The certificate goes first: when the token fails in between, what is left is a key without a certificate, which can
// be deleted on its own or be certified again.
std::string MonitorCommands::deleteCertificateAndKey(Call& call) {
    const TokenInfo info = readToken(call);
    CertInfo record;
    readRequest<Command::DeleteCertAndKey, 1>(call, record);
    call.subject += ", certificate " + platform::quotedName(record.fingerprint) + " and its key";
    HeldToken token = providers_.hold(info);
    token.requireWritable();
    const TokenObjects objects = readCertificatesAndKeys(token, certificates_.facts());
    std::vector<std::uint64_t> numbers;
    const StoredCertificate* found = nullptr;
    for (const StoredCertificate& certificate : objects.certificates) {
        if (!names(record, *certificate.facts)) continue;
        numbers.push_back(certificate.object);
        found = &certificate;
    }
    if (!found) throw RefusedError(Refused::noSuchObject, "the certificate is not on the token");
    const KeyPair pair = pairOf(keyPairs(objects), found);
    for (const StoredCertificate* other : pair.certificates) {
        if (other->der == found->der) continue;
        throw RefusedError(Refused::keyShared, "the private key belongs to another certificate too: %s",
                           other->facts->info.subject);
    }
    for (const std::uint64_t number : pair.numbers()) numbers.push_back(number);
    token.destroy(numbers);
    return {};
}

} // namespace panelkitd
