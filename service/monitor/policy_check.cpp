// SPDX-License-Identifier: MIT
//
// Reads a policy file for a user who wants to know what it says before activating it.
#include <service/monitor/monitor_commands.h>

#include <service/policyfile/policy_keys.h>
#include <service/policyfile/policy_text.h>

#include <panelkit/bridge/payload.h>
#include <panelkit/monitor/monitor_records.h>

namespace panelkitd {

using panelkit::Command;
using panelkit::PolicyContent;
using panelkit::PolicyRule;
using vocabulary::Refused;

namespace {

PolicyRule ruleOf(const PolicySection& section) {
    PolicyRule rule{section.name,     section.line, wordOf(*section.action), section.network,
                    section.protocol, section.port, section.gateway,         {},
                    section.subject,  section.key};
    if (section.action == PolicyAction::protect) {
        rule.authentication = wordOf(section.authentication.value_or(PolicyAuthentication::certificate));
    }
    return rule;
}

PolicyText read(const std::string& content) {
    try {
        return readPolicyText(content);
    } catch (const PolicyTextError& error) {
        throw RefusedError(Refused::badInput, error.problems);
    }
}

} // namespace

std::string MonitorCommands::checkPolicy(Call& call) {
    std::string content;
    readRequest<Command::CheckPolicy>(call, content);
    const PolicyText text = read(content);
    PolicyContent policy{text.title, text.version, text.description, {}};
    for (const PolicySection& section : text.sections) policy.rules.push_back(ruleOf(section));
    call.remarks = text.remarks;
    return panelkit::encodeReply<Command::CheckPolicy>(policy);
}

} // namespace panelkitd
