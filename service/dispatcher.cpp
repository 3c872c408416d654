// SPDX-License-Identifier: MIT
#include <service/dispatcher.h>

#include <service/base/call.h>
#include <service/base/log.h>
#include <service/base/refused.h>
#include <service/certs/cert_commands.h>
#include <service/config/parameter_commands.h>
#include <service/monitor/monitor_commands.h>
#include <service/net/interface_commands.h>
#include <service/policy/policy_commands.h>
#include <service/tokens/token_commands.h>

#include <panelkit/bridge/commands.h>

#include <algorithm>
#include <array>
#include <optional>

namespace panelkitd {

namespace {

using bridge::RefusalReason;
using bridge::server::Answer;
using panelkit::Command;
using panelkit::CommandRow;
using vocabulary::Refused;

// Whether a command changes something, and whether that is objects on a token. Commands that do have a line in the
// audit log.
enum class Acts : std::uint8_t { no, yes, onToken };

struct Row {
    Command command;
    Who who;
    Acts acts;
    Handler handler;
};

// clang-format off
constexpr std::array table = {
    //  command                          who                     acts           handler
    Row{Command::EnumProviders,              Who::users,             Acts::no,      [](CommandGroups& g, Call& c) { return g.tokens.enumProviders(c); }},
    Row{Command::EnumProviderTokens,         Who::users,             Acts::no,      [](CommandGroups& g, Call& c) { return g.tokens.enumProviderTokens(c); }},
    Row{Command::TokenLogin,                 Who::users,             Acts::yes,     [](CommandGroups& g, Call& c) { return g.tokens.login(c); }},
    Row{Command::TokenLogout,                Who::users,             Acts::yes,     [](CommandGroups& g, Call& c) { return g.tokens.logout(c); }},
    Row{Command::TokenInitialize,            Who::administrators,    Acts::onToken, [](CommandGroups& g, Call& c) { return g.tokens.initialize(c); }},
    Row{Command::TokenChangePassword,        Who::users,             Acts::yes,     [](CommandGroups& g, Call& c) { return g.tokens.changePin(c); }},
    Row{Command::ProviderLoad,               Who::administrators,    Acts::yes,     [](CommandGroups& g, Call& c) { return g.tokens.loadProvider(c); }},
    Row{Command::ProviderUnload,             Who::administrators,    Acts::yes,     [](CommandGroups& g, Call& c) { return g.tokens.unloadProvider(c); }},
    Row{Command::ProviderLevelUp,            Who::administrators,    Acts::yes,     [](CommandGroups& g, Call& c) { return g.tokens.raiseProvider(c); }},
    Row{Command::TokensReloadAll,            Who::administrators,    Acts::yes,     [](CommandGroups& g, Call& c) { return g.tokens.reloadAll(c); }},
    Row{Command::InitTokenRNG,               Who::users,             Acts::yes,     [](CommandGroups& g, Call& c) { return g.tokens.seedRandom(c); }},

    // certificates, CRLs, preshared keys and requests
    Row{Command::DeleteCertificate,          Who::administrators,    Acts::onToken, [](CommandGroups& g, Call& c) { return g.certificates.deleteCertificate(c); }},
    Row{Command::ParseCertFile,              Who::users,             Acts::no,      [](CommandGroups& g, Call& c) { return g.certificates.parseFile(c); }},
    Row{Command::ImportCertificate,          Who::administrators,    Acts::onToken, [](CommandGroups& g, Call& c) { return g.certificates.importCertificate(c); }},
    Row{Command::ImportCRL,                  Who::administrators,    Acts::onToken, [](CommandGroups& g, Call& c) { return g.certificates.importCrl(c); }},
    Row{Command::ExportCertificate,          Who::users,             Acts::yes,     [](CommandGroups& g, Call& c) { return g.certificates.exportCertificate(c); }},
    Row{Command::GetCertRequestKeyInfo,      Who::users,             Acts::no,      [](CommandGroups& g, Call& c) { return g.certificates.requestKeyInfo(c); }},
    Row{Command::MakeCertRequest,            Who::administrators,    Acts::onToken, [](CommandGroups& g, Call& c) { return g.certificates.makeRequest(c); }},
    Row{Command::EnumPresharedKeys,          Who::users,             Acts::no,      [](CommandGroups& g, Call& c) { return g.certificates.enumPresharedKeys(c); }},
    Row{Command::CreatePresharedKey,         Who::administrators,    Acts::onToken, [](CommandGroups& g, Call& c) { return g.certificates.createPresharedKey(c); }},
    Row{Command::DeletePresharedKey,         Who::administrators,    Acts::onToken, [](CommandGroups& g, Call& c) { return g.certificates.deletePresharedKey(c); }},
    Row{Command::EnumCRLs,                   Who::users,             Acts::no,      [](CommandGroups& g, Call& c) { return g.certificates.enumCrls(c); }},
    Row{Command::DeleteCRL,                  Who::administrators,    Acts::onToken, [](CommandGroups& g, Call& c) { return g.certificates.deleteCrl(c); }},
    Row{Command::GetCertChain,               Who::users,             Acts::no,      [](CommandGroups& g, Call& c) { return g.certificates.certChain(c); }},
    Row{Command::GetCertDetails,             Who::users,             Acts::no,      [](CommandGroups& g, Call& c) { return g.certificates.certDetails(c); }},
    Row{Command::VerifyCert,                 Who::users,             Acts::no,      [](CommandGroups& g, Call& c) { return g.certificates.verifyCert(c); }},
    Row{Command::CertsReloadAll,             Who::administrators,    Acts::yes,     [](CommandGroups& g, Call& c) { return g.certificates.reloadAll(c); }},
    Row{Command::EnumCertificates,           Who::users,             Acts::no,      [](CommandGroups& g, Call& c) { return g.certificates.enumCertificates(c); }},

    // the local security policy; commands on another user's policy are checked by their handlers, which know the user
    Row{Command::GetPolicyInfo,              Who::users,             Acts::no,      [](CommandGroups& g, Call& c) { return g.policy.info(c); }},
    Row{Command::GetSettings,                Who::users,             Acts::no,      [](CommandGroups& g, Call& c) { return g.policy.settings(c); }},
    Row{Command::SetSettings,                Who::administrators,    Acts::yes,     [](CommandGroups& g, Call& c) { return g.policy.setSettings(c); }},
    Row{Command::ActivateCurrent,            Who::users,             Acts::yes,     [](CommandGroups& g, Call& c) { return g.policy.activateCurrent(c); }},
    Row{Command::ActivateDDP,                Who::administrators,    Acts::yes,     [](CommandGroups& g, Call& c) { return g.policy.activateDriver(c); }},
    Row{Command::ActivateSystem,             Who::administrators,    Acts::yes,     [](CommandGroups& g, Call& c) { return g.policy.activateSystem(c); }},
    Row{Command::ViewCurrent,                Who::users,             Acts::no,      [](CommandGroups& g, Call& c) { return g.policy.view(c); }},
    Row{Command::ActivateUser,               Who::users,             Acts::yes,     [](CommandGroups& g, Call& c) { return g.policy.activateUser(c); }},
    Row{Command::OfferUserSettings,          Who::users,             Acts::no,      [](CommandGroups& g, Call& c) { return g.policy.offerUserSettings(c); }},
    Row{Command::GetUserSettings,            Who::users,             Acts::no,      [](CommandGroups& g, Call& c) { return g.policy.userSettings(c); }},
    Row{Command::SetUserSettings,            Who::users,             Acts::yes,     [](CommandGroups& g, Call& c) { return g.policy.setUserSettings(c); }},
    Row{Command::LoggedInUser,               Who::users,             Acts::no,      [](CommandGroups& g, Call& c) { return g.policy.loggedInUser(c); }},

    // network interfaces
    Row{Command::GetInterfaces,              Who::users,             Acts::no,      [](CommandGroups& g, Call& c) { return g.interfaces.list(c); }},

    // the configuration: its sections hold secrets
    Row{Command::WriteGroup,                 Who::administrators,    Acts::yes,     [](CommandGroups& g, Call& c) { return g.parameters.write(c); }},
    Row{Command::ReadGroup,                  Who::administrators,    Acts::no,      [](CommandGroups& g, Call& c) { return g.parameters.read(c); }},
    Row{Command::CommitGroups,               Who::administrators,    Acts::yes,     [](CommandGroups& g, Call& c) { return g.parameters.commit(c); }},

    // additions
    Row{Command::GetStates,                  Who::users,             Acts::no,      [](CommandGroups& g, Call& c) { return g.monitor.states(c); }},
    Row{Command::EnumKeys,                   Who::users,             Acts::no,      [](CommandGroups& g, Call& c) { return g.monitor.enumKeys(c); }},
    Row{Command::GetPublicKey,               Who::users,             Acts::no,      [](CommandGroups& g, Call& c) { return g.monitor.publicKey(c); }},
    Row{Command::GenerateKey,                Who::administrators,    Acts::onToken, [](CommandGroups& g, Call& c) { return g.monitor.generateKey(c); }},
    Row{Command::DeleteKey,                  Who::administrators,    Acts::onToken, [](CommandGroups& g, Call& c) { return g.monitor.deleteKey(c); }},
    Row{Command::DeleteCertAndKey,           Who::administrators,    Acts::onToken, [](CommandGroups& g, Call& c) { return g.monitor.deleteCertificateAndKey(c); }},
    Row{Command::EnumCertLabels,             Who::users,             Acts::no,      [](CommandGroups& g, Call& c) { return g.monitor.enumLabels(c); }},
    Row{Command::GetUncommitted,             Who::administrators,    Acts::no,      [](CommandGroups& g, Call& c) { return g.monitor.uncommitted(c); }},
    Row{Command::RevertSettings,             Who::administrators,    Acts::yes,     [](CommandGroups& g, Call& c) { return g.monitor.revert(c); }},
    Row{Command::CheckPolicy,                Who::users,             Acts::no,      [](CommandGroups& g, Call& c) { return g.monitor.checkPolicy(c); }},
    Row{Command::MakeCertRequestWithPin,     Who::administrators,    Acts::onToken, [](CommandGroups& g, Call& c) { return g.certificates.makeRequestWithPin(c); }},
    Row{Command::GetEngine,                  Who::users,             Acts::no,      [](CommandGroups& g, Call& c) { return g.monitor.engine(c); }},
    Row{Command::GetTunnels,                 Who::users,             Acts::no,      [](CommandGroups& g, Call& c) { return g.monitor.tunnels(c); }},
    Row{Command::ActOnTunnel,                Who::administrators,    Acts::yes,     [](CommandGroups& g, Call& c) { return g.monitor.actOnTunnel(c); }},
    Row{Command::ImportCertificates,         Who::administrators,    Acts::onToken, [](CommandGroups& g, Call& c) { return g.certificates.importCertificates(c); }},
};
// clang-format on

// Every command of the library has exactly one handler in the table.
static_assert([] {
    for (const CommandRow& command : panelkit::commandTable) {
        const auto handles = [&](const Row& row) { return row.command == command.command; };
        if (std::count_if(table.begin(), table.end(), handles) != 1) return false;
    }
    return true;
}());

const Row* find(const bridge::server::Request& request) {
    const auto row = std::find_if(table.begin(), table.end(), [&](const Row& candidate) {
        const CommandRow& command = panelkit::commandRow(candidate.command);
        return command.module == request.module && command.code == request.command;
    });
    return row == table.end() ? nullptr : &*row;
}

Answer unknown(const bridge::server::Request& request) {
    const bool moduleKnown = std::any_of(table.begin(), table.end(), [&](const Row& row) {
        return panelkit::commandRow(row.command).module == request.module;
    });
    if (!moduleKnown) {
        return Answer::refused(RefusalReason::unknownModule,
                               Loc::makePhrase("this service has no module %d", request.module));
    }
    return Answer::refused(RefusalReason::unknownCommand,
                           Loc::makePhrase("module %d has no command %d", request.module, request.command));
}

// The commands whose requests carry a file or a section of the configuration.
constexpr std::array carriers{Command::ParseCertFile, Command::ActivateSystem, Command::ActivateUser,
                              Command::WriteGroup};

Answer refusedFor(Refused why, Loc::Phrase phrase) {
    const auto code = static_cast<std::uint32_t>(why);
    return Answer::refused(RefusalReason::tooLarge, {{code, std::move(phrase)}}, code);
}

// Charges the memory that the request will take. Returns a refusal when that is too much.
std::optional<Answer> charge(const Row& row, const bridge::server::Request& request,
                             bridge::AccountBudget::Share& memory) {
    const std::size_t size = request.payload.size();
    const bool carries = std::find(carriers.begin(), carriers.end(), row.command) != carriers.end();
    if (size > limits::largestPlainRequest && !carries) {
        return refusedFor(Refused::badInput, Loc::makePhrase("the request is too large: %d bytes, the service takes %d",
                                                             size, limits::largestPlainRequest));
    }
    if (memory.take(limits::memoryOfRequest(size))) return std::nullopt;
    return refusedFor(Refused::overBudget, Loc::makePhrase("too much is under way for this account already"));
}

Remarks denial(Who who, const bridge::Peer& peer, const std::string& administrators) {
    const std::string name = displayName(peer);
    if (who == Who::users)
        return {remark(Refused::none, "%s may not use this service any more", name)}; // left the group
    Remarks why{remark(Refused::none, "this is for administrators of the service, and %s is not one of them", name)};
    if (!administrators.empty()) why.push_back(remark(Refused::none, "their group is \"%s\"", administrators));
    return why;
}

Answer run(const Row& row, CommandGroups& groups, Call& call) {
    try {
        std::string reply = row.handler(groups, call);
        return Answer::reply(std::move(reply), std::move(call.remarks));
    } catch (const RefusedError& refused) {
        return Answer::refused(RefusalReason::byModule, refused.remarks, static_cast<std::uint32_t>(refused.reason));
    } catch (const DeniedError& denied) {
        return Answer::refused(RefusalReason::accessDenied, denied.remarks);
    } catch (const char* /* the stream's error */) {
        return Answer::refused(RefusalReason::malformed, Loc::makePhrase("the request ends early"));
    } catch (const std::exception& error) { // memory, the disk: the audit line must not be lost
        return Answer::refused(RefusalReason::byModule, explained(error));
    }
}

std::string outcome(const Answer& answer) {
    if (const auto* refusal = std::get_if<bridge::Refusal>(&answer.content)) return "refused (" + refusal->text + ")";
    const std::string& reply = std::get<std::string>(answer.content);
    return !reply.empty() && reply[0] != 1 ? "failed" : "done";
}

} // namespace

Answer Dispatcher::handle(bridge::server::Session& session, const bridge::server::Request& request) {
    const Row* row = find(request);
    if (!row) return unknown(request);
    const std::string_view name = panelkit::commandRow(row->command).name;
    if (!access_.allows(session.peer, row->who)) {
        note(session, std::string(name) + ": denied", false);
        return Answer::refused(RefusalReason::accessDenied,
                               denial(row->who, session.peer, access_.administratorsGroup()));
    }
    const bool byAdministrator = access_.isAdministrator(session.peer);
    bridge::AccountBudget::Share memory(requests_, session.peer.user, byAdministrator);
    const std::optional<Answer> refusal = charge(*row, request, memory);
    Call call{.session = session,
              .byAdministrator = byAdministrator,
              .in = CommandStreamIn(request.payload, CommandStreamIn::Counts::mustFit)};
    const Answer answer = refusal ? *refusal : run(*row, groups_, call);
    if (row->acts != Acts::no) {
        noteEnd(call, std::string(name), call.outcome.empty() ? outcome(answer) : call.outcome);
    }
    if (row->acts == Acts::onToken) tokensChanged_();
    return answer;
}

void Dispatcher::noteEnd(const Call& call, const std::string& command, const std::string& how) {
    const std::string what = command + (call.subject.empty() ? "" : " " + call.subject);
    for (const auto& [object, outcome] : call.parts) {
        note(call.session, what + ", " + object + ": " + outcome, outcome == "done");
    }
    if (call.parts.empty()) note(call.session, what + ": " + how, how == "done");
}

// What was done is always logged. What was not could be repeated for ever at no cost.
void Dispatcher::note(const bridge::server::Session& session, const std::string& text, bool succeeded) {
    const std::string account = displayName(session.peer);
    if (succeeded) return audit(account + " " + text);
    unsuccessful_.event(account, "audit: " + account + " " + text);
}

void Dispatcher::lagged(const bridge::Peer& peer) {
    const std::string account = displayName(peer);
    unsuccessful_.event(account, "a front end of " + account + " does not take its notifications and is disconnected");
}

void Dispatcher::turnedAway(const bridge::Peer& peer, bridge::Verdict verdict) {
    const std::string whose = "a connection of " + displayName(peer);
    switch (verdict) {
    case bridge::Verdict::accessDenied:
        return turnedAway_.event({}, whose + " was refused: it may not use this service");
    case bridge::Verdict::overloaded: return turnedAway_.event({}, whose + " was refused: too many sessions are open");
    case bridge::Verdict::versionMismatch:
        return turnedAway_.event({}, whose + " was refused: it speaks another version of the protocol");
    case bridge::Verdict::malformed: return logDebug(whose + " did not say hello");
    case bridge::Verdict::accepted: return;
    }
}

void Dispatcher::hurry() { groups_.tokens.killModules(); }

void Dispatcher::ended(bridge::server::Session& session) { groups_.certificates.ended(session); }

} // namespace panelkitd
