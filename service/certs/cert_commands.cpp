// SPDX-License-Identifier: MIT
//
// The commands that list and delete objects, and those that parse and import files.
#include <service/certs/cert_calls.h>

#include <service/base/log.h>
#include <service/base/refused.h>
#include <service/certs/parsed_file.h>
#include <service/certs/preshared_keys.h>

#include <panelkit/monitor/monitor_records.h>
#include <platform/system/secret.h>
#include <platform/system/wipe.h>
#include <platform/text/escape.h>
#include <vocabulary/certs.h>
#include <vocabulary/tokens.h>

#include <algorithm>

namespace panelkitd {

using Loc::N_;
using panelkit::Command;
using panelkit::encodeReply;
using PKCS11::TokenInfo;
using platform::WipeOnExit;
using vocabulary::CertSelector;
using vocabulary::ImportCert;
using vocabulary::ImportCrl;
using vocabulary::ParseResult;
using vocabulary::Refused;
namespace tokenFlag = vocabulary::tokenFlag;

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

CredentialList CertCommands::credentials() {
    CredentialList list{false, state_->configuration.settings().crlProcessing != CrlProcessing::off, {}, {{}}};
    const Holdings holdings = state_->look();
    requireAllSeen(holdings.unseen());
    for (WatchedCertificate& certificate : allOf(holdings)) {
        list.certificates.push_back(std::move(certificate.certificate));
    }
    requireAllSeen(forEachToken(state_->providers, [&](HeldToken& token, const TokenInfo&) {
        list.anyToken = true;
        for (StoredPresharedKey& key : readPresharedKeys(token)) {
            list.presharedKeys->push_back(std::move(key.name));
        }
    }));
    return list;
}

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

// Returns the tokens to which objects can be imported.
std::vector<const TokenObjects*> targets(const Holdings& holdings) {
    std::vector<const TokenObjects*> list;
    for (const TokenObjects& token : holdings.tokens()) {
        if (!(token.token.flags & tokenFlag::writeProtected)) list.push_back(&token);
    }
    return list;
}

CertImportOption optionFor(const ParsedFile& file, std::size_t item, const Holdings& holdings) {
    const FileCertificate& certificate = file.certificates[item];
    CertImportOption option;
    option.certificate = certificate.facts->info;
    option.certificate.state = holdings.stateOf(*certificate.facts);
    option.certificate.hasPrivateKey = certificate.key.has_value();
    option.modes = possibleModes(file, item);
    const auto tokens = targets(holdings);
    for (std::size_t i = 0; i < tokens.size(); ++i) {
        if (tokens[i]->keyOf(*certificate.facts, {})) option.keyTokens.push_back(static_cast<std::uint32_t>(i));
    }
    return option;
}

std::string describeFile(const ParsedFile& file, const Holdings& holdings) {
    std::vector<TokenInfo> tokens;
    for (const TokenObjects* token : targets(holdings)) tokens.push_back(token->token);
    std::vector<CertImportOption> options;
    for (std::size_t i = 0; i < file.certificates.size(); ++i) options.push_back(optionFor(file, i, holdings));
    std::vector<CRLInfo> crls;
    for (const FileCrl& crl : file.crls) crls.push_back(crl.facts->info);
    return encodeReply<Command::ParseCertFile>(ofRow(ParseResult::parsed), tokens, options, crls);
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

// ---- from a file

namespace {

// Room for a file that is parsed and kept.
ParsedFiles::Share roomFor(std::uint64_t bytes, bridge::AccountBudget& budget, const Call& call) {
    const auto room =
        std::make_shared<bridge::AccountBudget::Share>(budget, call.session.peer.user, call.byAdministrator);
    if (room->take(bytes)) return room;
    throw RefusedError(Refused::overBudget,
                       "the files that accounts have sent for import take too much memory with this one, of %d bytes",
                       bytes);
}

} // namespace

std::string CertCommands::parseFile(Call& call) {
    const platform::LockedPages request(call.in.rest());
    std::string content; // it may hold private keys
    platform::Secret password;
    const WipeOnExit wiped(content);
    readRequest<Command::ParseCertFile>(call, content, password);
    state_->parsed.forget(call.session.number);
    ParsedFiles::Share room = roomFor(content.size(), state_->importFiles, call);
    try {
        auto file = std::make_shared<const ParsedFile>(panelkitd::parseFile(content, password));
        const Holdings everything = state_->look();
        std::string reply = describeFile(*file, everything);
        const auto itsTarget = state_->parsed.keep(call.session.number, std::move(file), std::move(room));
        // Only administrators import; what other accounts parse must not keep this in memory.
        if (call.byAdministrator) itsTarget->remember(everything);
        return reply;
    } catch (const ParseError& error) {
        logDetail(std::string("a file was not parsed: ") + error.what());
        call.remarks = error.remarks;
        return encodeReply<Command::ParseCertFile>(ofRow(error.result));
    }
}

std::string CertCommands::importCertificate(Call& call) {
    const TokenInfo info = readToken(call);
    ImportWish wish;
    const platform::LockedPages request(call.in.rest());
    platform::Secret pin;
    CertImportMode mode{};
    readRequest<Command::ImportCertificate, 1>(call, wish.item, mode, wish.extractable);
    wish.mode = static_cast<vocabulary::CertImport>(mode);
    const bool withPin = call.in.position() < call.in.size(); // an empty one is one too
    if (withPin) readRequest<Command::ImportCertificate, 4>(call, pin);
    const auto [file, target] = state_->parsed.find(call.session.number);
    if (!file || wish.item >= file->certificates.size()) {
        return answered<Command::ImportCertificate>(call, noSuchItem<ImportCert>());
    }
    call.subject += ", " + platform::quotedName(file->certificates[wish.item].facts->info.subject);
    try {
        HeldToken token = state_->providers.hold(info);
        const LoginForOnce login(token, withPin ? &pin : nullptr, call.account());
        return answered<Command::ImportCertificate>(
            call, panelkitd::importCertificate(token, *target, *file, wish, state_->cache));
    } catch (const RefusedError& refused) {
        if (refused.reason == Refused::finalTry) throw; // a front end must be able to tell
        return answered<Command::ImportCertificate, ImportCert>(call, {importResult(refused.reason), refused.remarks});
    }
}

namespace {

std::vector<ImportWish> wishesOf(const std::vector<panelkit::ImportItem>& items) {
    if (items.empty() || items.size() > limits::importsAtOnce) {
        throw RefusedError(Refused::badInput, "a command imports 1 to %d certificates, not %d", limits::importsAtOnce,
                           items.size());
    }
    std::vector<ImportWish> wishes;
    for (const auto& [item, mode, extractable] : items) {
        wishes.push_back({item, static_cast<vocabulary::CertImport>(mode), extractable});
    }
    return wishes;
}

std::string nameOf(const ParsedFile* file, std::uint32_t item) {
    if (!file || item >= file->certificates.size()) return "item " + std::to_string(item);
    return platform::quotedName(file->certificates[item].facts->info.subject);
}

std::string answered(Call& call, const ParsedFile* file, const std::vector<ImportWish>& wishes,
                     const std::vector<ImportOutcome>& outcomes) {
    std::vector<ImportCertResult> results;
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        results.push_back(ofRow(outcomes[i].result));
        call.parts.push_back({nameOf(file, wishes[i].item), auditText(outcomes[i])});
    }
    call.remarks = outcomes.back().why;
    return encodeReply<Command::ImportCertificates>(results);
}

} // namespace

std::string CertCommands::importCertificates(Call& call) {
    const TokenInfo info = readToken(call);
    const platform::LockedPages request(call.in.rest());
    std::vector<panelkit::ImportItem> items;
    platform::Secret pin;
    readRequest<Command::ImportCertificates, 1>(call, items);
    const bool withPin = call.in.position() < call.in.size(); // an empty one is one too
    if (withPin) readRequest<Command::ImportCertificates, 2>(call, pin);
    const std::vector<ImportWish> wishes = wishesOf(items);
    const auto [file, target] = state_->parsed.find(call.session.number);
    if (!file) return answered(call, nullptr, wishes, {noSuchItem<ImportCert>()});
    try {
        HeldToken token = state_->providers.hold(info);
        const LoginForOnce login(token, withPin ? &pin : nullptr, call.account());
        return answered(call, file.get(), wishes,
                        panelkitd::importCertificates(token, *target, *file, wishes, state_->cache));
    } catch (const RefusedError& refused) {
        if (refused.reason == Refused::finalTry) throw; // a front end must be able to tell
        return answered(call, file.get(), wishes, {{importResult(refused.reason), refused.remarks}});
    }
}

std::string CertCommands::importCrl(Call& call) {
    const TokenInfo info = readToken(call);
    std::uint32_t item = 0;
    readRequest<Command::ImportCRL, 1>(call, item);
    const auto file = state_->parsed.find(call.session.number).file;
    if (!file || item >= file->crls.size()) {
        return answered<Command::ImportCRL>(call, noSuchItem<ImportCrl>());
    }
    const FileCrl& crl = file->crls[item];
    call.subject += ", CRL of " + platform::quotedName(crl.facts->info.issuer);
    const Holdings everything = state_->look(); // before the token is held: it may be looked at as well
    try {
        HeldToken token = state_->providers.hold(info);
        return answered<Command::ImportCRL>(call, panelkitd::importCrl(token, crl, everything, state_->cache));
    } catch (const RefusedError& refused) {
        return answered<Command::ImportCRL, ImportCrl>(call, {importCrlResult(refused.reason), refused.remarks});
    }
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
