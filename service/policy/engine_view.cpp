// SPDX-License-Identifier: MIT
#include <service/policy/engine_view.h>

#include <service/certs/holdings.h>
#include <service/certs/preshared_keys.h>
#include <service/policy/diagnosis.h>

#include <vocabulary/certs.h>
#include <vocabulary/tokens.h>

#include <map>
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

EngineCredentials engineCredentials(const Providers& providers, FactsCache& cache) {
    EngineCredentials credentials;
    std::map<std::string, std::string> paths;
    for (const auto& provider : providers.all()) {
        if (!provider->problem().empty()) continue;
        const Provider::Settings& settings = provider->settings();
        paths[settings.name] = settings.path;
        credentials.modules.push_back(
            {settings.path, settings.embedded ? providers.embeddedEnvironment() : EngineModule().environment});
    }
    const Holdings holdings(providers, cache);
    requireAllSeen(holdings.unseen());
    std::set<std::string> anchors;
    for (const TokenObjects& place : holdings.tokens()) {
        addObjects(holdings, place, engineToken(paths[place.token.*field::provider], place.token), anchors,
                   credentials);
    }
    credentials.anchors.assign(anchors.begin(), anchors.end());
    requireAllSeen(forEachToken(providers, [&](HeldToken& held, const PKCS11::TokenInfo& token) {
        const EngineToken on = engineToken(paths[token.*field::provider], token);
        for (auto& [name, value] : readPresharedKeyValues(held)) {
            credentials.presharedKeys.push_back({on, name, std::move(value)});
        }
    }));
    return credentials;
}

} // namespace panelkitd
