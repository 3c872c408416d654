// SPDX-License-Identifier: MIT
#include <service/dispatcher.h>

#include <service/certs/cert_module.h>
#include <service/config/parameter_module.h>
#include <service/log.h>
#include <service/net/interface_module.h>
#include <service/policy/policy_module.h>
#include <service/refused.h>
#include <service/tokens/token_module.h>

#include <algorithm>
#include <array>

namespace panelkitd {

namespace {

using bridge::RefusalReason;
using bridge::server::Answer;
using panelkit::Command;
using panelkit::CommandRow;

// Whether a command changes something, and so has its line in the audit.
enum class Acts : bool { no, yes };

struct Row {
    Command command;
    Who who;
    Acts acts;
    Handler handler;
};

// clang-format off
constexpr std::array table = {
    //  command                          who                     acts       handler
    Row{Command::EnumProviders,              Who::users,             Acts::no,  [](Modules& m, Call& c) { return m.tokens.enumProviders(c); }},
    Row{Command::EnumProviderTokens,         Who::users,             Acts::no,  [](Modules& m, Call& c) { return m.tokens.enumProviderTokens(c); }},
    Row{Command::TokenLogin,                 Who::users,             Acts::yes, [](Modules& m, Call& c) { return m.tokens.login(c); }},
    Row{Command::TokenLogout,                Who::users,             Acts::yes, [](Modules& m, Call& c) { return m.tokens.logout(c); }},
    Row{Command::TokenInitialize,            Who::administrators,    Acts::yes, [](Modules& m, Call& c) { return m.tokens.initialize(c); }},
    Row{Command::TokenChangePassword,        Who::users,             Acts::yes, [](Modules& m, Call& c) { return m.tokens.changePin(c); }},
    Row{Command::ProviderLoad,               Who::administrators,    Acts::yes, [](Modules& m, Call& c) { return m.tokens.loadProvider(c); }},
    Row{Command::ProviderUnload,             Who::administrators,    Acts::yes, [](Modules& m, Call& c) { return m.tokens.unloadProvider(c); }},
    Row{Command::ProviderLevelUp,            Who::administrators,    Acts::yes, [](Modules& m, Call& c) { return m.tokens.raiseProvider(c); }},
    Row{Command::TokensReloadAll,            Who::administrators,    Acts::yes, [](Modules& m, Call& c) { return m.tokens.reloadAll(c); }},
    Row{Command::InitTokenRNG,               Who::users,             Acts::yes, [](Modules& m, Call& c) { return m.tokens.seedRandom(c); }},

    // certificates, CRLs, preshared keys and requests
    Row{Command::DeleteCertificate,          Who::administrators,    Acts::yes, [](Modules& m, Call& c) { return m.certificates.deleteCertificate(c); }},
    Row{Command::ParseCertFile,              Who::users,             Acts::no,  [](Modules& m, Call& c) { return m.certificates.parseFile(c); }},
    Row{Command::ImportCertificate,          Who::administrators,    Acts::yes, [](Modules& m, Call& c) { return m.certificates.importCertificate(c); }},
    Row{Command::ImportCRL,                  Who::administrators,    Acts::yes, [](Modules& m, Call& c) { return m.certificates.importCrl(c); }},
    Row{Command::ExportCertificate,          Who::users,             Acts::yes, [](Modules& m, Call& c) { return m.certificates.exportCertificate(c); }},
    Row{Command::GetCertRequestKeyInfo,      Who::users,             Acts::no,  [](Modules& m, Call& c) { return m.certificates.requestKeyInfo(c); }},
    Row{Command::MakeCertRequest,            Who::administrators,    Acts::yes, [](Modules& m, Call& c) { return m.certificates.makeRequest(c); }},
    Row{Command::EnumPresharedKeys,          Who::users,             Acts::no,  [](Modules& m, Call& c) { return m.certificates.enumPresharedKeys(c); }},
    Row{Command::CreatePresharedKey,         Who::administrators,    Acts::yes, [](Modules& m, Call& c) { return m.certificates.createPresharedKey(c); }},
    Row{Command::DeletePresharedKey,         Who::administrators,    Acts::yes, [](Modules& m, Call& c) { return m.certificates.deletePresharedKey(c); }},
    Row{Command::EnumCRLs,                   Who::users,             Acts::no,  [](Modules& m, Call& c) { return m.certificates.enumCrls(c); }},
    Row{Command::DeleteCRL,                  Who::administrators,    Acts::yes, [](Modules& m, Call& c) { return m.certificates.deleteCrl(c); }},
    Row{Command::GetCertChain,               Who::users,             Acts::no,  [](Modules& m, Call& c) { return m.certificates.certChain(c); }},
    Row{Command::GetCertDetails,             Who::users,             Acts::no,  [](Modules& m, Call& c) { return m.certificates.certDetails(c); }},
    Row{Command::VerifyCert,                 Who::users,             Acts::no,  [](Modules& m, Call& c) { return m.certificates.verifyCert(c); }},
    Row{Command::CertsReloadAll,             Who::administrators,    Acts::yes, [](Modules& m, Call& c) { return m.certificates.reloadAll(c); }},
    Row{Command::EnumCertificates,           Who::users,             Acts::no,  [](Modules& m, Call& c) { return m.certificates.enumCertificates(c); }},

    // the local security policy; what acts on another user's is looked at where the user is known
    Row{Command::GetPolicyInfo,              Who::users,             Acts::no,  [](Modules& m, Call& c) { return m.policy.info(c); }},
    Row{Command::GetSettings,                Who::users,             Acts::no,  [](Modules& m, Call& c) { return m.policy.settings(c); }},
    Row{Command::SetSettings,                Who::administrators,    Acts::yes, [](Modules& m, Call& c) { return m.policy.setSettings(c); }},
    Row{Command::ActivateCurrent,            Who::users,             Acts::yes, [](Modules& m, Call& c) { return m.policy.activateCurrent(c); }},
    Row{Command::ActivateDDP,                Who::administrators,    Acts::yes, [](Modules& m, Call& c) { return m.policy.activateDriver(c); }},
    Row{Command::ActivateSystem,             Who::administrators,    Acts::yes, [](Modules& m, Call& c) { return m.policy.activateSystem(c); }},
    Row{Command::ViewCurrent,                Who::users,             Acts::no,  [](Modules& m, Call& c) { return m.policy.view(c); }},
    Row{Command::ActivateUser,               Who::users,             Acts::yes, [](Modules& m, Call& c) { return m.policy.activateUser(c); }},
    Row{Command::OfferUserSettings,          Who::users,             Acts::no,  [](Modules& m, Call& c) { return m.policy.offerUserSettings(c); }},
    Row{Command::GetUserSettings,            Who::users,             Acts::no,  [](Modules& m, Call& c) { return m.policy.userSettings(c); }},
    Row{Command::SetUserSettings,            Who::users,             Acts::yes, [](Modules& m, Call& c) { return m.policy.setUserSettings(c); }},
    Row{Command::LoggedInUser,               Who::users,             Acts::no,  [](Modules& m, Call& c) { return m.policy.loggedInUser(c); }},

    // network interfaces
    Row{Command::GetInterfaces,              Who::users,             Acts::no,  [](Modules& m, Call& c) { return m.interfaces.list(c); }},

    // the configuration: its sections hold secrets
    Row{Command::WriteGroup,                 Who::administrators,    Acts::yes, [](Modules& m, Call& c) { return m.parameters.write(c); }},
    Row{Command::ReadGroup,                  Who::administrators,    Acts::no,  [](Modules& m, Call& c) { return m.parameters.read(c); }},
    Row{Command::CommitGroups,               Who::administrators,    Acts::yes, [](Modules& m, Call& c) { return m.parameters.commit(c); }},
};
// clang-format on

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
    const std::string module = "module " + std::to_string(request.module);
    if (!moduleKnown) return Answer::refused(RefusalReason::unknownModule, "this service has no " + module);
    return Answer::refused(RefusalReason::unknownCommand,
                           module + " has no command " + std::to_string(request.command));
}

Answer run(const Row& row, Modules& modules, Call& call) {
    try {
        return Answer::reply(row.handler(modules, call));
    } catch (const RefusedError& refused) {
        return Answer::refused(RefusalReason::byModule, refused.what(), static_cast<std::uint32_t>(refused.reason));
    } catch (const DeniedError& denied) {
        return Answer::refused(RefusalReason::accessDenied, denied.what());
    } catch (const char* /* the stream's error */) {
        return Answer::refused(RefusalReason::malformed, "the request ends early");
    } catch (const std::exception& error) { // memory, the disk: the audit line must not be lost
        return Answer::refused(RefusalReason::byModule, error.what());
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
        audit(displayName(session.peer) + " " + std::string(name) + ": denied");
        return Answer::refused(RefusalReason::accessDenied,
                               std::string(name) + " is for administrators; " + displayName(session.peer) + " is none");
    }
    Call call{session,
              access_.isAdministrator(session.peer),
              CommandStreamIn(request.payload, CommandStreamIn::Counts::mustFit),
              {},
              {}};
    const Answer answer = run(*row, modules_, call);
    if (row->acts == Acts::yes) {
        const std::string how = call.outcome.empty() ? outcome(answer) : call.outcome;
        audit(displayName(session.peer) + " " + std::string(name) + " " + call.subject + ": " + how);
    }
    return answer;
}

void Dispatcher::lagged(const bridge::Peer& peer) {
    logEvent("a front end of " + displayName(peer) + " does not take its notifications and is disconnected");
}

void Dispatcher::turnedAway(const bridge::Peer& peer, bridge::Verdict verdict) {
    const std::string whose = "a connection of " + displayName(peer);
    switch (verdict) {
    case bridge::Verdict::accessDenied: return turnedAway_.event(whose + " was refused: it may not use this service");
    case bridge::Verdict::overloaded: return turnedAway_.event(whose + " was refused: too many sessions are open");
    case bridge::Verdict::versionMismatch:
        return turnedAway_.event(whose + " was refused: it speaks another version of the protocol");
    case bridge::Verdict::malformed: return logDebug(whose + " did not say hello");
    case bridge::Verdict::accepted: return;
    }
}

void Dispatcher::ended(bridge::server::Session& session) { modules_.certificates.ended(session); }

} // namespace panelkitd
