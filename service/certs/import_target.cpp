// SPDX-License-Identifier: MIT
#include <service/certs/import_target.h>

#include <service/certs/holdings.h>

#include <algorithm>
#include <utility>

namespace panelkitd {

namespace {

constexpr auto longestPause = std::chrono::seconds(2); // between imports that follow each other

// Other programs may write to the token too, so what was read is used for a short time. On a slow token it is used
// longer, so that most of the time is left for the imports.
constexpr auto leastAge = std::chrono::seconds(2), mostAge = std::chrono::seconds(30);

ImportTarget::Present presentOf(const CertificateFacts& facts, const std::string* idOfCertificate,
                                const TokenObjects& keys) {
    const std::string id = idOfCertificate ? *idOfCertificate : std::string();
    const StoredKey* const key = keys.keyOf(facts, id);
    if (!id.empty()) return {true, key != nullptr, id};
    return {idOfCertificate != nullptr, key != nullptr, key && !key->id.empty() ? key->id : facts.keyId};
}

bool sameSlot(const PKCS11::TokenInfo& a, const PKCS11::TokenInfo& b) {
    return sameToken(a, b) && a.slotId == b.slotId;
}

} // namespace

// A token that waits for a log-in did not show its private keys.
void ImportTarget::remember(const Holdings& everything) {
    contents_.clear();
    for (const TokenObjects& objects : everything.tokens()) {
        if (needsLogin(objects.token)) continue;
        contents_.push_back(contentOf(objects));
        contents_.back().validUntil = Clock::now() + leastAge;
    }
}

void ImportTarget::begin(const HeldToken& token, std::size_t imports) {
    const auto now = Clock::now();
    const bool follows =
        sameSlot(token.named(), token_) && token.lastChange() == change_ && now - lastImport_ < longestPause;
    isOneOfSeveral_ = follows || imports > 1;
    std::erase_if(contents_, [&](const Content& content) {
        return now >= content.validUntil ||
               (sameSlot(content.token, token.named()) && content.lastChange != token.lastChange());
    });
    token_ = token.named();
    ended(token);
}

// Also called at the beginning, for an import that finds that everything is there.
void ImportTarget::ended(const HeldToken& token) {
    change_ = token.lastChange();
    lastImport_ = Clock::now();
}

ImportTarget::Content* ImportTarget::contentOf(const HeldToken& token) {
    const auto found = std::find_if(contents_.begin(), contents_.end(),
                                    [&](const Content& content) { return sameSlot(content.token, token.named()); });
    return found == contents_.end() ? nullptr : &*found;
}

ImportTarget::Content ImportTarget::contentOf(TokenObjects objects) {
    Content content{.token = objects.token, .lastChange = objects.lastChange};
    for (StoredCertificate& one : std::exchange(objects.certificates, {})) {
        content.idOf[one.facts->info.fingerprint] = std::move(one.id);
    }
    content.keys.keys = std::move(objects.keys);
    content.keys.publicKeys = std::move(objects.publicKeys);
    return content;
}

ImportTarget::Content ImportTarget::read(HeldToken& token, FactsCache& cache) const {
    const auto begin = Clock::now();
    TokenObjects objects = readCertificatesAndKeys(token, cache);
    objects.token = token_;
    objects.lastChange = change_;
    Content content = contentOf(std::move(objects));
    const auto now = Clock::now();
    content.validUntil = now + std::clamp<Clock::duration>(10 * (now - begin), leastAge, mostAge);
    return content;
}

ImportTarget::Present ImportTarget::of(HeldToken& token, const FileCertificate& certificate, FactsCache& cache) {
    const CertificateFacts& facts = *certificate.facts;
    if (isOneOfSeveral_ && !contentOf(token)) contents_.push_back(read(token, cache));
    if (const Content* const content = contentOf(token)) {
        const auto found = content->idOf.find(facts.info.fingerprint);
        return presentOf(facts, found == content->idOf.end() ? nullptr : &found->second, content->keys);
    }
    const TokenObjects related = readRelated(token, certificate.der, facts, cache);
    const std::string* id = nullptr;
    for (const StoredCertificate& other : related.certificates) {
        if (other.der == certificate.der) id = &other.id;
    }
    return presentOf(facts, id, related);
}

void ImportTarget::willHave(const HeldToken& token, const Made& object) {
    Content* const content = contentOf(token);
    if (!content) return;
    const auto& [certificate, id, isKey] = object;
    if (!isKey) {
        content->idOf[certificate->info.fingerprint] = id;
        return;
    }
    const CK_KEY_TYPE type = certificate->info.keyType;
    const bool isRsa = type == CKK_RSA;
    content->keys.keys.push_back({.type = type, .id = id, .modulus = isRsa ? certificate->publicKey : ""});
    content->keys.publicKeys.push_back({.type = type, .id = id, .material = certificate->publicKey});
}

void ImportTarget::stored(const HeldToken& token) {
    ended(token);
    if (Content* const content = contentOf(token)) content->lastChange = change_;
}

void ImportTarget::forget(const HeldToken& token) {
    std::erase_if(contents_, [&](const Content& content) { return sameSlot(content.token, token.named()); });
}

} // namespace panelkitd
