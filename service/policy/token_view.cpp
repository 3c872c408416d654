// SPDX-License-Identifier: MIT
#include <service/policy/token_view.h>

#include <service/certs/preshared_keys.h>
#include <service/policy/diagnosis.h>

#include <vocabulary/certs.h>
#include <vocabulary/tokens.h>

#include <algorithm>
#include <set>
#include <utility>

namespace panelkitd {

namespace field = vocabulary::token;

namespace {

EngineCertificate certificateOf(const Holdings& holdings, const TokenObjects& place, const StoredCertificate& stored,
                                const EngineToken& token) {
    const CertInfo info = holdings.describe({&place, &stored});
    const StoredKey* const key = place.keyOf(*stored.facts, stored.id);
    EngineCertificate certificate;
    certificate.token = token;
    certificate.keyId = key ? key->id : stored.id;
    certificate.der = stored.der;
    certificate.subject = info.subject;
    certificate.notBefore = info.notBefore;
    certificate.notAfter = info.notAfter;
    certificate.hasPrivateKey = info.hasPrivateKey;
    certificate.needsLogin = (place.token.flags & vocabulary::tokenFlag::loginRequired) != 0;
    certificate.authority = (info.flags & vocabulary::certFlag::authority) != 0;
    certificate.forIke = fitsIke(info);
    certificate.revoked = info.state == static_cast<std::uint32_t>(vocabulary::CertState::revoked);
    return certificate;
}

// A list whose issuer is there and has not signed it would revoke what it likes.
void addObjects(const Holdings& holdings, const TokenObjects& place, const EngineToken& token,
                std::set<std::string>& anchors, EngineCredentials& into) {
    for (const StoredCertificate& stored : place.certificates) {
        if (!stored.facts->readable) continue;
        into.certificates.push_back(certificateOf(holdings, place, stored, token));
        if (holdings.trustIn(*stored.facts)) anchors.insert(stored.der);
    }
    for (const StoredCrl& crl : place.crls) {
        if (holdings.isSignedByItsIssuer(*crl.facts)) {
            into.crls.push_back({crl.der, crl.facts->info.issuer, !crl.facts->authorityKeyId.empty()});
        }
    }
}

} // namespace

EngineToken engineToken(const std::string& module, const PKCS11::TokenInfo& token) {
    return {module, token.slotId, token.*field::label, token.*field::serial};
}

EngineToken TokenView::engineTokenOf(const PKCS11::TokenInfo& token) const {
    for (const auto& provider : providers_.all()) {
        if (provider->settings().name == token.*field::provider) return engineToken(provider->settings().path, token);
    }
    return engineToken({}, token); // it was unloaded meanwhile
}

// ---- reading

CredentialList TokenView::look() {
    holdings_ = std::make_unique<const Holdings>(providers_, cache_, holdings_.get());
    lookForKeyNames();
    CredentialList list;
    list.complete = holdings_->unseen().empty();
    list.anyToken = !holdings_->tokens().empty();
    list.presharedKeys.emplace();
    for (const TokenObjects& place : holdings_->tokens()) {
        for (const StoredCertificate& certificate : place.certificates) {
            list.certificates.push_back(holdings_->describe({&place, &certificate}));
        }
    }
    for (const KeyNames& keys : keyNames_) {
        list.presharedKeys->insert(list.presharedKeys->end(), keys.names.begin(), keys.names.end());
    }
    return list;
}

void TokenView::lookForKeyNames() {
    const std::vector<KeyNames> former = std::exchange(keyNames_, {});
    const auto unseen = forEachToken(providers_, [&](HeldToken& held, const PKCS11::TokenInfo& token) {
        std::vector<std::string> names;
        for (StoredPresharedKey& key : readPresharedKeys(held)) names.push_back(std::move(key.name));
        keyNames_.push_back({token, std::move(names)});
    });
    for (const KeyNames& keys : former) {
        const auto isSame = [&](const KeyNames& other) { return sameToken(other.token, keys.token); };
        const bool wasRead = std::any_of(keyNames_.begin(), keyNames_.end(), isSame);
        if (!wasRead && isUnseen(keys.token, unseen)) keyNames_.push_back(keys);
    }
}

// ---- for the engine

EngineCredentials TokenView::forEngine() const {
    EngineCredentials credentials;
    for (const auto& provider : providers_.all()) {
        if (!provider->isLoaded()) continue;
        const Provider::Settings& settings = provider->settings();
        credentials.modules.push_back(
            {settings.path, settings.embedded ? providers_.embeddedEnvironment() : EngineModule().environment});
    }
    if (!holdings_) return credentials;
    credentials.complete = holdings_->unseen().empty();
    std::set<std::string> anchors;
    for (const TokenObjects& place : holdings_->tokens()) {
        addObjects(*holdings_, place, engineTokenOf(place.token), anchors, credentials);
    }
    credentials.anchors.assign(anchors.begin(), anchors.end());
    addPresharedKeys(credentials);
    return credentials;
}

void TokenView::addPresharedKeys(EngineCredentials& into) const {
    const auto unseen = forEachToken(providers_, [&](HeldToken& held, const PKCS11::TokenInfo& token) {
        for (auto& [name, value] : readPresharedKeyValues(held)) {
            into.presharedKeys.push_back({engineTokenOf(token), name, std::move(value)});
        }
    });
    for (const TokenObjects& place : holdings_->tokens()) {
        if (isUnseen(place.token, unseen)) into.keysUnread.push_back(engineTokenOf(place.token));
    }
}

} // namespace panelkitd
