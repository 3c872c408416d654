// SPDX-License-Identifier: MIT
#include <service/policy/policy_report.h>

#include <service/policy/tunnel_diagnosis.h>

#include <platform/text/join.h>
#include <vocabulary/policy.h>

namespace panelkitd {

namespace field = vocabulary::policyInfo;

namespace {

LSPinfo_t infoOf(const LoadedPolicy& policy) {
    LSPinfo_t info;
    info.request = policy.wanted.request;
    info.activated = policy.activated;
    info.fromConfigDb = policy.fromConfigDb;
    info.Title = policy.text.title;
    info.certificateState = vocabulary::policyCertificate::fine;
    info.*field::name = policy.wanted.name;
    info.*field::activatedBy = policy.wanted.by;
    info.*field::version = policy.text.version;
    info.*field::sectionCount = static_cast<std::uint32_t>(policy.text.sections.size());
    info.*field::sections = platform::joined(policy.text.sections, ", ", &PolicySection::name);
    return info;
}

// Front ends read how a section authenticates from the required policy, and the name of the key from the one in force.
void takeCredentials(const Diagnosis& diagnosis, LSPserver_t& server) {
    server.authKind = diagnosis.byPresharedKey ? LSPauthPresharedKey : 0;
    server.presharedKeyName = diagnosis.presharedKey;
    server.Subject = diagnosis.subject;
}

void takeCertificate(const Diagnosis& diagnosis, PolicyReport& report) {
    takeCredentials(diagnosis, report.required.server);
    takeCredentials(diagnosis, report.info.request.server);
    report.info.*field::certificate = diagnosis.subject;
    report.info.certificateState = diagnosis.state;
    report.info.certificateDate = diagnosis.date;
}

void takeNote(const Remarks& remarks, PolicyReport& report) {
    report.remarks.insert(report.remarks.end(), remarks.begin(), remarks.end());
    report.info.message = std::string(vocabulary::policyWarning) + inLines(report.remarks);
}

// If a message is not bare, front ends only use the fact that it is not empty, and show their own text for the
// certificate's state.
void takeProblem(const Remarks& remarks, bool frontEndKnows, const Remarks& more, PolicyReport& report) {
    report.remarks = remarks;
    report.info.message = inEnglish(report.remarks);
    report.info.bareMessage = !frontEndKnows;
    report.remarks.insert(report.remarks.end(), more.begin(), more.end());
}

void addCredentials(const std::optional<Diagnosis>& diagnosis, PolicyReport& report, const Remarks& more) {
    if (!diagnosis) return;
    takeCertificate(*diagnosis, report);
    if (diagnosis->note) takeNote({*diagnosis->note}, report);
    if (diagnosis->problem) takeProblem({*diagnosis->problem}, diagnosis->frontEndKnows, more, report);
}

void addTunnels(const std::optional<TunnelDiagnosis>& tunnels, PolicyReport& report, const Remarks& more) {
    if (!tunnels) return;
    takeCertificate(tunnels->diagnosis, report);
    if (tunnels->isProblem) return takeProblem(tunnels->remarks, tunnels->diagnosis.frontEndKnows, more, report);
    if (tunnels->isNote) return takeNote(tunnels->remarks, report);
    if (report.info.message.empty()) report.remarks = tunnels->remarks;
}

} // namespace

PolicyReport reportOf(const PolicyState& state, const Remarks& notTaken) {
    const std::string& inForceOf = state.inForce.wanted.userId;
    PolicyReport report{state.required.request, infoOf(state.inForce), {}, state.required.userId, inForceOf};
    report.info.isLoading = state.loading.has_value();
    report.info.bareMessage = !report.info.isLoading;
    if (report.info.isLoading) return report;
    report.info.message = notTaken.empty() ? state.message() : inEnglish(notTaken);
    report.remarks = notTaken.empty() ? state.remarks : notTaken;
    return report;
}

void addDiagnosis(const PolicyText& policy, const Engine& engine, const Credentials& credentials, std::int64_t now,
                  PolicyReport& report, const Remarks& more) {
    if (engine.protectsTraffic()) return addTunnels(diagnoseTunnels(policy, engine, credentials, now), report, more);
    addCredentials(diagnose(policy, credentials, now), report, more);
}

} // namespace panelkitd
