// SPDX-License-Identifier: MIT
//
// The commands that parse a file and import its objects.
#include <service/certs/cert_calls.h>

#include <service/base/log.h>
#include <service/base/refused.h>
#include <service/certs/parsed_file.h>

#include <panelkit/certs/cert_imports.h>
#include <platform/system/secret.h>
#include <platform/system/wipe.h>
#include <platform/text/escape.h>
#include <vocabulary/certs.h>
#include <vocabulary/tokens.h>

namespace panelkitd {

using panelkit::Command;
using panelkit::encodeReply;
using PKCS11::TokenInfo;
using platform::WipeOnExit;
using vocabulary::ImportCert;
using vocabulary::ImportCrl;
using vocabulary::ParseResult;
using vocabulary::Refused;
namespace tokenFlag = vocabulary::tokenFlag;

// ---- a file

namespace {

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

// ---- its objects

// Imports certificates of the session's file, with the present log-in or, if there is a PIN, with one of their own.
std::vector<ImportOutcome> CertCommands::State::import(const Call& call, const TokenInfo& info,
                                                       const std::vector<ImportWish>& wishes,
                                                       const platform::Secret* pin) {
    const auto [file, target] = parsed.find(call.session.number);
    if (!file) return {noSuchItem<ImportCert>()};
    try {
        HeldToken token = providers.hold(info);
        const LoginForOnce login(token, pin, call.account());
        return panelkitd::importCertificates(token, *target, *file, wishes, cache);
    } catch (const RefusedError& refused) {
        if (refused.reason == Refused::finalTry) throw; // a front end must be able to tell
        return {{importResult(refused.reason), refused.remarks}};
    }
}

std::string CertCommands::State::nameOf(const Call& call, std::uint32_t item) const {
    const auto file = parsed.find(call.session.number).file;
    if (!file || item >= file->certificates.size()) return "item " + std::to_string(item);
    return platform::quotedName(file->certificates[item].facts->info.subject);
}

namespace {

// The PIN at the end of a request; an empty one is one too.
template <Command command, std::size_t from>
std::optional<platform::Secret> readPin(Call& call) {
    if (call.in.position() == call.in.size()) return std::nullopt;
    platform::Secret pin;
    readRequest<command, from>(call, pin);
    return pin;
}

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

} // namespace

std::string CertCommands::importCertificate(Call& call) {
    const TokenInfo info = readToken(call);
    const platform::LockedPages request(call.in.rest());
    ImportWish wish;
    CertImportMode mode{};
    readRequest<Command::ImportCertificate, 1>(call, wish.item, mode, wish.extractable);
    wish.mode = static_cast<vocabulary::CertImport>(mode);
    const auto pin = readPin<Command::ImportCertificate, 4>(call);
    call.subject += ", " + state_->nameOf(call, wish.item);
    const auto outcomes = state_->import(call, info, {wish}, pin ? &*pin : nullptr);
    return answered<Command::ImportCertificate>(call, outcomes.front());
}

std::string CertCommands::importCertificates(Call& call) {
    const TokenInfo info = readToken(call);
    const platform::LockedPages request(call.in.rest());
    std::vector<panelkit::ImportItem> items;
    readRequest<Command::ImportCertificates, 1>(call, items);
    const auto pin = readPin<Command::ImportCertificates, 2>(call);
    const std::vector<ImportWish> wishes = wishesOf(items);
    const auto outcomes = state_->import(call, info, wishes, pin ? &*pin : nullptr);
    std::vector<ImportCertResult> results;
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        results.push_back(ofRow(outcomes[i].result));
        call.parts.push_back({state_->nameOf(call, wishes[i].item), auditText(outcomes[i])});
    }
    call.remarks = outcomes.back().why;
    return encodeReply<Command::ImportCertificates>(results);
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

} // namespace panelkitd
