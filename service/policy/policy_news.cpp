// SPDX-License-Identifier: MIT
#include <service/policy/policy_news.h>

#include <vocabulary/policy.h>

#include <utility>

namespace panelkitd {

using vocabulary::Refused;

namespace {

// What people know the policy by. The driver policy is known by its mode.
std::string nameOf(const WantedPolicy& wanted) {
    if (!wanted.name.empty()) return wanted.name;
    if (!wanted.request.file.empty() || wanted.request.type != LSPdriver) return wanted.request.file;
    const auto& names = vocabulary::driverModeNames;
    return wanted.request.driverMode < names.size() ? names.at(wanted.request.driverMode) : std::string();
}

PolicyNews newsOf(const WantedPolicy& wanted, const Remarks& remarks, const std::string& message) {
    PolicyNews news;
    news.source = isUserPolicy(wanted.request.type) ? "user" : wanted.request.type == LSPdriver ? "driver" : "system";
    news.user = wanted.request.user;
    news.title = nameOf(wanted);
    news.message = message;
    news.remarks = remarks;
    return news;
}

} // namespace

PolicyNews newsOf(const PolicyState& state, bool activated) {
    PolicyNews news = newsOf(state.required, state.remarks, state.message());
    news.activated = activated;
    const bool isNamed = activated && state.required.request.type != LSPdriver;
    if (isNamed && !state.inForce.text.title.empty()) news.title = state.inForce.text.title;
    return news;
}

PolicyNews newsOfReplaced(const LoadedPolicy& policy) {
    const Remarks why{remark(Refused::policyReplaced, "another activation came before the policy was in force")};
    PolicyNews news = newsOf(policy.wanted, why, inEnglish(why));
    if (!policy.text.title.empty()) news.title = policy.text.title;
    return news;
}

PolicyNews newsOfInForce(const LoadedPolicy& policy, const Remarks& why) {
    PolicyNews news = newsOf(policy.wanted, why, inEnglish(why));
    news.activated = why.empty();
    if (policy.wanted.request.type != LSPdriver) news.title = policy.text.title;
    return news;
}

PolicyNews forEverybody(PolicyNews news) {
    if (news.activated || news.source != "user") return news;
    news.title = vocabulary::notShown;
    news.remarks = {remark(Refused::none, "only %s and administrators of the service can see why", news.user)};
    news.message = inEnglish(news.remarks);
    return news;
}

} // namespace panelkitd
