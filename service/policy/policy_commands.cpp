// SPDX-License-Identifier: MIT
#include <service/policy/policy_commands.h>

#include <service/base/call.h>
#include <service/base/refused.h>
#include <service/policy/activation.h>

#include <panelkit/bridge/payload.h>
#include <platform/system/host.h>
#include <platform/text/escape.h>
#include <platform/text/utf8_character.h>
#include <vocabulary/policy.h>

#include <algorithm>
#include <iterator>

namespace panelkitd {

using LSPcmd::LSPsettings_t;
using panelkit::Command;
using panelkit::encodeReply;
using vocabulary::Refused;

namespace {

constexpr std::size_t longestName = 200;

// Bytes of a request's settings. Larger ones are refused before they are read: read, they use ten times the memory.
constexpr std::size_t largestSettings = 2 * vocabulary::largestPolicyEntries;

std::string readName(Call& call) {
    std::string name;
    call.in >> name;
    if (name.size() > longestName || !platform::isValidUtf8(name)) {
        throw RefusedError(Refused::badInput, "the policy's name is longer than %d bytes, or not UTF-8", longestName);
    }
    return name;
}

LSPsettings_t readSettings(Call& call) {
    if (call.in.rest().size() > largestSettings) {
        throw RefusedError(Refused::badInput, "the policy settings have %d bytes; at most %d are accepted",
                           call.in.rest().size(), largestSettings);
    }
    LSPsettings_t settings;
    call.in >> settings;
    requireTakeable(settings);
    return settings;
}

// The name by which front ends know the account: its number if it has no name.
std::string accountName(const std::string& id) {
    const std::string name = platform::userName(id);
    return name.empty() ? id : name;
}

// Reads the user that a request names; an empty name means the caller. Only administrators may name another user, and
// only they learn whether such an account exists.
PolicyUser readUser(Call& call) {
    std::string name;
    call.in >> name;
    const bridge::Peer& peer = call.session.peer;
    PolicyUser own{peer.user, accountName(peer.user)};
    call.subject = "of " + own.name;
    if (name.empty() || name == own.name) return own;
    const std::string id = platform::userId(name);
    if (id == peer.user) return own;
    if (!call.byAdministrator) {
        throw DeniedError("the policy of another user is for administrators of the service, and %s is not one of them",
                          own.name);
    }
    if (id.empty()) throw RefusedError(Refused::noSuchObject, "there is no account \"%s\" on this host", name);
    call.subject = "of " + name;
    return {id, name};
}

// Administrators may act on every policy, a user on the user's own.
bool mayActOn(const Call& call, const WantedPolicy& policy) {
    return call.byAdministrator || (!policy.userId.empty() && policy.userId == call.session.peer.user);
}

std::string driverText(std::uint32_t mode) {
    const bool known = mode < vocabulary::driverModeNames.size();
    return std::string("# The default driver policy: ") + (known ? vocabulary::driverModeNames[mode] : "unknown") +
           "\n";
}

void describeInAudit(Call& call, const std::string& name, const Policies::Outcome& outcome) {
    if (!name.empty()) call.subject += (call.subject.empty() ? "" : " ") + platform::quotedName(name);
    if (!outcome.activated) call.subject += (call.subject.empty() ? "(" : " (") + outcome.message + ")";
}

// The library reads no result of these commands, so a failure is a refusal.
void refuseUnlessActivated(const Policies::Outcome& outcome) {
    if (!outcome.activated) throw RefusedError(Refused::badInput, outcome.remarks);
}

// ---- what other users see of a user's policy

void hide(std::string& text) {
    if (!text.empty()) text = vocabulary::notShown;
}

void hide(LSPserver_t& server) {
    for (std::string LSPserver_t::*const text :
         {&LSPserver_t::Server, &LSPserver_t::PmpIdValue, &LSPserver_t::Subject, &LSPserver_t::presharedKeyName}) {
        hide(server.*text);
    }
}

// Whether the policy belongs to another user than the caller, and is not for administrators either.
bool isHiddenFrom(const Call& call, const std::string& owner) {
    return !owner.empty() && owner != call.session.peer.user && !call.byAdministrator;
}

// The message and the server fields may come from either policy. A message stays a warning, or a problem.
void hideShared(PolicyReport& report) {
    hide(report.required.server);
    hide(report.info.request.server);
    if (report.info.message.empty()) return report.remarks.clear();
    const bool warns = report.info.message.starts_with(vocabulary::policyWarning);
    report.remarks = {remark(Refused::none, "the policy of another user has a diagnosis, which only this user and "
                                            "administrators of the service can see")};
    report.info.message = (warns ? std::string(vocabulary::policyWarning) : "") + inEnglish(report.remarks);
    report.info.bareMessage = true;
}

void hideWhatIsOthers(const Call& call, PolicyReport& report) {
    const bool required = isHiddenFrom(call, report.requiredOf);
    const bool inForce = isHiddenFrom(call, report.inForceOf);
    if (required || inForce) hideShared(report);
    if (required) hide(report.required.file);
    if (!inForce) return;
    hide(report.info.request.file);
    for (const auto field :
         {vocabulary::policyInfo::name, vocabulary::policyInfo::certificate, vocabulary::policyInfo::sections}) {
        hide(report.info.*field);
    }
}

} // namespace

// ---- reading

std::string PolicyCommands::info(Call& call) {
    PolicyReport report = policies_.report();
    hideWhatIsOthers(call, report);
    call.remarks = report.remarks;
    return encodeReply<Command::GetPolicyInfo>(report.required, report.info);
}

std::string PolicyCommands::view(Call& call) {
    const LoadedPolicy policy = policies_.inForce();
    if (policy.wanted.request.type == LSPdriver) return driverText(policy.wanted.request.driverMode);
    if (!policy.wanted.userId.empty() && !mayActOn(call, policy.wanted)) {
        throw DeniedError("the policy in force is that of %s; only %s and administrators of the service may see it",
                          policy.wanted.request.user, policy.wanted.request.user);
    }
    return policy.content;
}

// For this service, the logged-in user is the one whose policy is required. Front ends ask before replacing it.
std::string PolicyCommands::loggedInUser(Call&) {
    const WantedPolicy required = policies_.required();
    return encodeReply<Command::LoggedInUser>(required.userId.empty() ? std::string() : accountName(required.userId));
}

// ---- activation

std::string PolicyCommands::activateCurrent(Call& call) {
    const std::string name = readName(call);
    if (!mayActOn(call, policies_.required())) {
        throw DeniedError("the required policy is for administrators of the service, and %s is not one of them",
                          displayName(call.session.peer));
    }
    const auto outcome = policies_.activateRequired(name, displayName(call.session.peer));
    describeInAudit(call, name, outcome);
    refuseUnlessActivated(outcome);
    return {};
}

// The name chooses the mode; with an empty one the settings do.
std::string PolicyCommands::activateDriver(Call& call) {
    const std::string name = readName(call);
    const auto& names = vocabulary::driverModeNames;
    const auto* const end = names.data() + names.size();
    const auto* const found = std::find(names.data(), end, name);
    if (!name.empty() && found == end) {
        throw RefusedError(Refused::badInput,
                           "\"%s\" is not a mode of the driver policy; there are: drop-all, drop-all-except-dhcp, "
                           "pass-all",
                           name);
    }
    const std::uint32_t mode = name.empty() ? policies_.systemSettings().*vocabulary::policySettings::driverMode
                                            : static_cast<std::uint32_t>(std::distance(names.data(), found));
    const auto outcome = policies_.activateDriver(mode, name, displayName(call.session.peer));
    describeInAudit(call, names[mode], outcome);
    return {};
}

std::string PolicyCommands::activateSystem(Call& call) {
    const std::string name = readName(call);
    std::string content;
    readRequest<Command::ActivateSystem, 1>(call, content);
    const auto outcome = policies_.activateSystem(content, name, displayName(call.session.peer));
    describeInAudit(call, name, outcome);
    call.remarks = outcome.remarks;
    return encodeReply<Command::ActivateSystem>(outcome.activated, outcome.message);
}

std::string PolicyCommands::activateUser(Call& call) {
    const PolicyUser user = readUser(call);
    const std::string name = readName(call);
    std::string content;
    readRequest<Command::ActivateUser, 2>(call, content);
    const auto outcome = policies_.activateUser(user, content, name, displayName(call.session.peer));
    describeInAudit(call, name, outcome);
    call.remarks = outcome.remarks;
    return encodeReply<Command::ActivateUser>(outcome.activated, outcome.message);
}

// ---- settings

std::string PolicyCommands::settings(Call&) { return encodeReply<Command::GetSettings>(policies_.systemSettings()); }

std::string PolicyCommands::setSettings(Call& call) {
    setSettings_(readSettings(call), displayName(call.session.peer));
    return encodeReply<Command::SetSettings>(true);
}

// Asks whether the service wants the settings in the user's own file. It does not after settings were set: otherwise a
// file with nothing but a flag would replace them.
std::string PolicyCommands::offerUserSettings(Call& call) {
    const PolicyUser user = readUser(call);
    if (policies_.userSettingsAreSet(user.id)) {
        throw RefusedError(Refused::badInput, "the policy settings of %s were set; its file is not asked for",
                           user.name);
    }
    return {};
}

std::string PolicyCommands::userSettings(Call& call) {
    const PolicyUser user = readUser(call);
    if (call.in.position() < call.in.size()) policies_.offerUserSettings(user, readSettings(call));
    return encodeReply<Command::GetUserSettings>(policies_.userSettings(user.id));
}

std::string PolicyCommands::setUserSettings(Call& call) {
    const PolicyUser user = readUser(call);
    policies_.setUserSettings(user, readSettings(call));
    return encodeReply<Command::SetUserSettings>(true);
}

} // namespace panelkitd
