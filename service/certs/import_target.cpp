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

} // namespace

void ImportTarget::begin(const HeldToken& token) {
    const auto now = Clock::now();
    const bool same = sameToken(token.named(), token_) && token.named().slotId == token_.slotId;
    inARow_ = same && token.lastChange() == change_ && now - lastImport_ < longestPause;
    if (!inARow_ || (content_ && now >= content_->validUntil)) content_.reset();
    token_ = token.named();
    ended(token);
}

// Also called at the beginning, for an import that finds that everything is there.
void ImportTarget::ended(const HeldToken& token) {
    change_ = token.lastChange();
    lastImport_ = Clock::now();
}

ImportTarget::Content ImportTarget::readContent(HeldToken& token, FactsCache& cache) {
    const auto begin = Clock::now();
    Content content;
    content.keys = readCertificatesAndKeys(token, cache);
    for (StoredCertificate& one : std::exchange(content.keys.certificates, {})) {
        content.idOf[one.facts->info.fingerprint] = std::move(one.id);
    }
    const auto now = Clock::now();
    content.validUntil = now + std::clamp<Clock::duration>(10 * (now - begin), leastAge, mostAge);
    return content;
}

ImportTarget::Present ImportTarget::of(HeldToken& token, const FileCertificate& certificate, FactsCache& cache) {
    const CertificateFacts& facts = *certificate.facts;
    if (inARow_) {
        if (!content_) content_ = readContent(token, cache);
        const auto found = content_->idOf.find(facts.info.fingerprint);
        return presentOf(facts, found == content_->idOf.end() ? nullptr : &found->second, content_->keys);
    }
    const TokenObjects related = readRelated(token, certificate.der, facts, cache);
    const std::string* id = nullptr;
    for (const StoredCertificate& other : related.certificates) {
        if (other.der == certificate.der) id = &other.id;
    }
    return presentOf(facts, id, related);
}

void ImportTarget::made(const HeldToken& token, const std::vector<Made>& objects) {
    ended(token);
    if (!content_) return;
    for (const auto& [certificate, id, isKey] : objects) {
        if (!isKey) {
            content_->idOf[certificate->info.fingerprint] = id;
            continue;
        }
        const CK_KEY_TYPE type = certificate->info.keyType;
        const bool isRsa = type == CKK_RSA;
        content_->keys.keys.push_back({.type = type, .id = id, .modulus = isRsa ? certificate->publicKey : ""});
        content_->keys.publicKeys.push_back({.type = type, .id = id, .material = certificate->publicKey});
    }
}

} // namespace panelkitd
