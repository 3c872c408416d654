// SPDX-License-Identifier: MIT
#include <service/policy/policy_report.h>

#include <service/policy/diagnosis.h>

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

// If a message is not bare, front ends only use the fact that it is not empty, and show their own text for the
// certificate's state.
void takeDiagnosis(const Diagnosis& diagnosis, PolicyReport& report) {
    takeCredentials(diagnosis, report.required.server);
    takeCredentials(diagnosis, report.info.request.server);
    report.info.*field::certificate = diagnosis.subject;
    report.info.certificateState = diagnosis.state;
    report.info.certificateDate = diagnosis.date;
    if (diagnosis.note) {
        report.remarks.push_back(*diagnosis.note);
        report.info.message = std::string(vocabulary::policyWarning) + inLines(report.remarks);
    }
    if (!diagnosis.problem) return;
    report.remarks = {*diagnosis.problem};
    report.info.message = inEnglish(report.remarks);
    report.info.bareMessage = !diagnosis.frontEndKnows;
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

void addDiagnosis(const PolicyText& policy, const Credentials& credentials, std::int64_t now, PolicyReport& report,
                  const Remarks& more) {
    const auto diagnosis = diagnose(policy, credentials, now);
    if (diagnosis) takeDiagnosis(*diagnosis, report);
    if (!diagnosis || !diagnosis->problem) return;
    report.remarks.insert(report.remarks.end(), more.begin(), more.end());
}

} // namespace panelkitd
