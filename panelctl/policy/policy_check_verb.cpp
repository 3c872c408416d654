// SPDX-License-Identifier: MIT
//
// panelctl policy check: what a policy file says, in words, without activating it. The service reads it, so that it
// is judged by the same rules as when it is activated.
#include <panelctl/base/exit_codes.h>
#include <panelctl/base/failure_text.h>
#include <panelctl/base/input.h>
#include <panelctl/base/output.h>
#include <panelctl/base/say.h>
#include <panelctl/base/verbs.h>

#include <panelkit/monitor/monitor_controller.h>
#include <vocabulary/policy.h>
#include <vocabulary/refusals.h>

#include <nlohmann/json.hpp>

#include <charconv>
#include <span>

namespace panelctl {

using nlohmann::ordered_json;
using panelkit::PolicyContent;
using panelkit::PolicyRule;
using vocabulary::Refused;

namespace {

const std::string any = "any";

// "tcp", "protocol 47"
std::string protocolName(const std::string& protocol) {
    const bool isNumber = protocol.find_first_not_of("0123456789") == protocol.npos;
    return isNumber ? say("protocol %s", protocol) : protocol;
}

std::string trafficOf(const PolicyRule& rule) {
    const std::string where = rule.network == any ? say("every address") : rule.network;
    if (rule.protocol == any) return rule.network == any ? say("all traffic") : say("all traffic with %s", where);
    const std::string protocol = protocolName(rule.protocol);
    return rule.port.empty() ? say("%s with %s", protocol, where)
                             : say("%s, port %s, with %s", protocol, rule.port, where);
}

std::string credentialOf(const PolicyRule& rule) {
    if (!rule.key.empty()) return say("the preshared key \"%s\"", rule.key);
    return rule.subject.empty() ? say("any personal certificate") : say("the certificate \"%s\"", rule.subject);
}

std::string inWords(const PolicyRule& rule) {
    const std::string traffic = trafficOf(rule);
    if (rule.action == "pass") return say("let pass unprotected: %s", traffic);
    if (rule.action == "drop") return say("drop: %s", traffic);
    if (rule.action != "protect") return rule.action + ": " + traffic; // of a later service
    return say("protect: %s, through gateway %s, by %s", traffic, rule.gateway, credentialOf(rule));
}

std::string textOf(const bridge::Remark& remark) { return remarksText(std::span(&remark, 1), {}); }

// The line of the file that a remark is about; null when it is about the whole file.
ordered_json lineOf(const bridge::Remark& remark) {
    const auto& arguments = remark.phrase.arguments;
    unsigned line = 0;
    if (remark.code != static_cast<std::uint32_t>(Refused::policyLine) || arguments.empty()) return nullptr;
    std::from_chars(arguments[0].data(), arguments[0].data() + arguments[0].size(), line);
    return line;
}

ordered_json toJson(const PolicyRule& rule) {
    return {{"name", rule.name},         {"line", rule.line},
            {"action", rule.action},     {"network", rule.network},
            {"protocol", rule.protocol}, {"port", rule.port},
            {"gateway", rule.gateway},   {"authentication", rule.authentication},
            {"subject", rule.subject},   {"key", rule.key},
            {"text", inWords(rule)}};
}

CommandError mistakesError(const std::string& file) {
    std::vector<std::string> lines;
    for (const bridge::Remark& remark : bridge::lastRemarks()) lines.push_back(textOf(remark));
    return {Exit::badInput, say("%s has mistakes and can't be activated", file), std::move(lines)};
}

PolicyContent check(const std::string& file) {
    const std::string content = readInput(file, vocabulary::largestPolicyFile);
    PolicyContent policy;
    if (panelkit::MonitorController().CheckPolicy(content, policy)) return policy;
    const bridge::Failure& failure = bridge::lastFailure();
    const bool mistaken = failure.code == bridge::FailureCode::refused &&
                          failure.detail == static_cast<std::uint32_t>(Refused::badInput) &&
                          !bridge::lastRemarks().empty();
    throw mistaken ? mistakesError(inputName(file)) : lastFailureError();
}

struct PolicyCheck {
    std::string file;

    void options(CLI::App& verb) {
        verb.add_option("file", file, say("Policy file; - reads standard input"))->required();
    }
    void run(const Context& context) const {
        const PolicyContent policy = check(file);
        context.json ? printAsJson(policy) : printForPeople(policy);
    }

private:
    static void printAsJson(const PolicyContent& policy) {
        ordered_json rules = ordered_json::array(), remarks = ordered_json::array();
        for (const PolicyRule& rule : policy.rules) rules.push_back(toJson(rule));
        for (const bridge::Remark& remark : bridge::lastRemarks()) {
            remarks.push_back({{"line", lineOf(remark)}, {"message", textOf(remark)}});
        }
        printJson({{"schema", 1},
                   {"title", policy.title},
                   {"version", policy.version},
                   {"description", policy.description},
                   {"rules", rules},
                   {"remarks", remarks}});
    }

    static void printForPeople(const PolicyContent& policy) {
        Sheet sheet;
        sheet.add(say("Title"), {policy.title});
        sheet.add(say("Version"), {policy.version});
        sheet.add(say("Description"), {policy.description});
        sheet.print();
        Table table({say("SECTION"), say("RULE")});
        for (const PolicyRule& rule : policy.rules) table.add({{rule.name}, {inWords(rule)}});
        table.print();
        for (const bridge::Remark& remark : bridge::lastRemarks()) printNote(say("Remark: %s", textOf(remark)));
        printLine(say("The file has no mistakes. Nothing was activated."));
    }
};

} // namespace

void addPolicyCheckVerb(CLI::App& group, const Context& context) {
    addVerb<PolicyCheck>(group, context, "check", say("Check a policy file and show its rules; activates nothing"));
}

} // namespace panelctl
