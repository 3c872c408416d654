// SPDX-License-Identifier: MIT
//
// The commands that list and delete objects.
#include <service/certs/cert_calls.h>

#include <service/base/log.h>
#include <service/base/refused.h>
#include <service/certs/preshared_keys.h>

#include <platform/text/escape.h>
#include <vocabulary/certs.h>
#include <vocabulary/tokens.h>

#include <algorithm>

namespace panelkitd {

using Loc::N_;
using panelkit::Command;
using panelkit::encodeReply;
using PKCS11::TokenInfo;
using vocabulary::CertSelector;
using vocabulary::Refused;

CertCommands::CertCommands(Providers& providers, const Configuration& configuration, KeyUse keyUse)
    : state_(std::make_unique<State>(providers, configuration, keyUse)) {}
CertCommands::~CertCommands() = default;

FactsCache& CertCommands::facts() { return state_->cache; }

void CertCommands::ended(const bridge::server::Session& session) { state_->parsed.forget(session.number); }

namespace {

std::vector<WatchedCertificate> allOf(const Holdings& holdings) {
    std::vector<WatchedCertificate> all;
    for (const TokenObjects& token : holdings.tokens()) {
        for (const StoredCertificate& certificate : token.certificates) {
            all.push_back({token.token, holdings.describe({&token, &certificate})});
        }
    }
    return all;
}

} // namespace

std::vector<WatchedCertificate> CertCommands::watched() { return allOf(state_->look()); }

CertInfo readCertificate(Call& call) {
    CertInfo certificate;
    call.in >> certificate;
    call.subject += ", certificate " + platform::quotedName(certificate.fingerprint);
    return certificate;
}

namespace {

bool isSelected(CertSelector selector, const CertInfo& certificate) {
    const bool authority = (certificate.flags & vocabulary::certFlag::authority) != 0;
    switch (selector) {
    case CertSelector::all: return true;
    case CertSelector::withPrivateKey: return certificate.hasPrivateKey;
    case CertSelector::authorities: return authority;
    case CertSelector::others: return !certificate.hasPrivateKey && !authority;
    }
    throw RefusedError(Refused::badInput, "there is no selection %d", static_cast<int>(selector));
}

// Returns the tokens that nobody is logged in to, where the selection depends on private keys.
std::vector<TokenInfo> closedTokens(CertSelector selector, const Holdings& holdings) {
    std::vector<TokenInfo> closed;
    if (selector != CertSelector::withPrivateKey && selector != CertSelector::others) return closed;
    for (const TokenObjects& token : holdings.tokens()) {
        if (needsLogin(token.token)) closed.push_back(token.token);
    }
    return closed;
}

} // namespace

// ---- listings

std::string CertCommands::enumCertificates(Call& call) {
    std::int32_t selector = 0;
    readRequest<Command::EnumCertificates>(call, selector);
    const Holdings holdings = state_->look();
    tellUnseen(call, holdings.unseen());
    tellClosed(call, closedTokens(static_cast<CertSelector>(selector), holdings));
    std::vector<panelkit::Pair<TokenInfo, CertInfo>> certificates;
    for (const TokenObjects& token : holdings.tokens()) {
        for (const StoredCertificate& certificate : token.certificates) {
            CertInfo info = holdings.describe({&token, &certificate});
            if (!isSelected(static_cast<CertSelector>(selector), info)) continue;
            certificates.push_back({token.token, std::move(info)});
        }
    }
    return encodeReply<Command::EnumCertificates>(certificates);
}

std::string CertCommands::enumCrls(Call& call) {
    std::vector<panelkit::Pair<TokenInfo, CRLInfo>> crls;
    const auto unseen = forEachToken(state_->providers, [&](HeldToken& token, const TokenInfo& info) {
        for (const StoredCrl& crl : readCrls(token, state_->cache)) {
            crls.push_back({info, crl.facts->info});
        }
    });
    tellUnseen(call, unseen);
    return encodeReply<Command::EnumCRLs>(crls);
}

// Every command reads the tokens, so there is nothing to refresh there. This fills the cache again and reports tokens
// that can't be read.
std::string CertCommands::reloadAll(Call& call) {
    bool forget = false;
    readRequest<Command::CertsReloadAll>(call, forget);
    if (forget) {
        state_->parsed.forgetAll();
        state_->cache.clear();
    }
    state_->look();
    return {};
}

// ---- deletion

// The key pair is kept: it may belong to another certificate, or to one that will be imported later.
std::string CertCommands::deleteCertificate(Call& call) {
    const TokenInfo info = readToken(call);
    const CertInfo record = readCertificate(call);
    HeldToken token = state_->providers.hold(info);
    token.requireWritable();
    destroyMatching(token, readCertificates(token, state_->cache), N_("the certificate is not on the token"),
                    [&](const StoredCertificate& candidate) { return names(record, *candidate.facts); });
    return {};
}

std::string CertCommands::deleteCrl(Call& call) {
    const TokenInfo info = readToken(call);
    CRLInfo record;
    readRequest<Command::DeleteCRL, 1>(call, record);
    call.subject += ", CRL of " + platform::quotedName(record.issuer);
    HeldToken token = state_->providers.hold(info);
    token.requireWritable();
    destroyMatching(
        token, readCrls(token, state_->cache), N_("the CRL is not on the token"),
        [&](const StoredCrl& candidate) { return candidate.facts->info.fingerprint == record.fingerprint; });
    return {};
}

} // namespace panelkitd
