// SPDX-License-Identifier: MIT
#include <service/certs/import_target.h>

#include <service/certs/holdings.h>

#include <utility>

namespace panelkitd {

namespace {

// Other programs may write to the token too. So what was read is used for this long only.
constexpr auto mostAge = std::chrono::seconds(2);

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
    inARow_ = same && token.lastChange() == change_ && now - lastImport_ < mostAge;
    if (!inARow_ || (content_ && now - content_->read >= mostAge)) content_.reset();
    token_ = token.named();
    change_ = token.lastChange();
    lastImport_ = now;
}

ImportTarget::Content ImportTarget::readContent(HeldToken& token, FactsCache& cache) {
    Content content;
    for (StoredCertificate& one : readCertificates(token, cache)) {
        content.idOf[one.facts->info.fingerprint] = std::move(one.id);
    }
    content.keys = readKeys(token);
    content.read = Clock::now();
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
    change_ = token.lastChange();
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
