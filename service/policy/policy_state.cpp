// SPDX-License-Identifier: MIT
#include <service/policy/policy_state.h>

#include <service/base/limits.h>
#include <service/base/refused.h>
#include <service/policy/policy_json.h>

#include <platform/system/clock.h>
#include <vocabulary/policy.h>

namespace panelkitd {

namespace {

constexpr const char* fileName = "policy.json";

using vocabulary::policyWarning;
using vocabulary::Refused;

using nlohmann::json;

json wantedToJson(const WantedPolicy& wanted) {
    return {{"source", wanted.source},
            {"request", toJson(wanted.request)},
            {"name", wanted.name},
            {"by", wanted.by},
            {"account", wanted.userId}};
}

WantedPolicy wantedFromJson(const json& from) {
    WantedPolicy wanted;
    from.at("source").get_to(wanted.source);
    fromJson(from.at("request"), wanted.request);
    from.at("name").get_to(wanted.name);
    from.at("by").get_to(wanted.by);
    from.at("account").get_to(wanted.userId);
    return wanted;
}

json loadedToJson(const LoadedPolicy& policy) {
    return {{"wanted", wantedToJson(policy.wanted)},
            {"activated", policy.activated},
            {"fromConfigDb", policy.fromConfigDb},
            {"content", policy.content}};
}

LoadedPolicy loadedFromJson(const json& from) {
    LoadedPolicy policy;
    policy.wanted = wantedFromJson(from.at("wanted"));
    from.at("activated").get_to(policy.activated);
    from.at("fromConfigDb").get_to(policy.fromConfigDb);
    from.at("content").get_to(policy.content);
    readTextOf(policy);
    return policy;
}

json copyToJson(const PolicyCopy& copy) { return {{"file", copy.file}, {"content", copy.content}}; }

PolicyCopy copyFromJson(const json& from) {
    return {from.at("file").get<std::string>(), from.at("content").get<std::string>()};
}

json optionalToJson(const std::optional<LSPcmd::LSPsettings_t>& settings) {
    return settings ? toJson(*settings) : json(nullptr);
}

std::optional<LSPcmd::LSPsettings_t> optionalFromJson(const json& from) {
    if (from.is_null()) return std::nullopt;
    LSPcmd::LSPsettings_t settings;
    fromJson(from, settings);
    return settings;
}

json userToJson(const UserPolicies& user) {
    return {{"name", user.name},
            {"settings", optionalToJson(user.set)},
            {"offered", optionalToJson(user.offered)},
            {"copy", copyToJson(user.copy)}};
}

UserPolicies userFromJson(const json& from) {
    return {from.at("name").get<std::string>(), optionalFromJson(from.at("settings")),
            optionalFromJson(from.at("offered")), copyFromJson(from.at("copy"))};
}

json remarksToJson(const Remarks& remarks) {
    json list = json::array();
    for (const auto& [code, phrase] : remarks) {
        list.push_back({{"code", code}, {"wording", phrase.wording}, {"arguments", phrase.arguments}});
    }
    return list;
}

// A file without remarks has only the message.
Remarks remarksFromJson(const json& from) {
    Remarks remarks;
    if (from.contains("remarks")) {
        for (const json& one : from.at("remarks")) {
            remarks.push_back(
                {one.at("code").get<std::uint32_t>(),
                 {one.at("wording").get<std::string>(), one.at("arguments").get<std::vector<std::string>>()}});
        }
        return remarks;
    }
    std::string message = from.at("message").get<std::string>();
    if (message.starts_with(policyWarning)) message.erase(0, policyWarning.size());
    if (!message.empty()) remarks = explained(std::runtime_error(message));
    return remarks;
}

PolicyState stateFromJson(const json& from) {
    PolicyState state;
    fromJson(from.at("systemSettings"), state.system);
    state.systemCopy = copyFromJson(from.at("systemCopy"));
    for (const auto& [account, user] : from.at("users").items()) state.users[account] = userFromJson(user);
    state.required = wantedFromJson(from.at("required"));
    state.inForce = loadedFromJson(from.at("inForce"));
    if (!from.at("loading").is_null()) state.loading = loadedFromJson(from.at("loading"));
    state.remarks = remarksFromJson(from);
    from.at("failed").get_to(state.failed);
    return state;
}

// A state with the driver policy in one of its modes in force.
PolicyState driverState(std::uint32_t mode) {
    PolicyState state;
    state.required.request.driverMode = mode;
    state.inForce.wanted = state.required;
    state.inForce.activated = platform::secondsNow<std::int64_t>();
    return state;
}

PolicyState firstState() { return driverState(LSPcmd::LSPsettings_t().*vocabulary::policySettings::driverMode); }

// The former policy is unknown, so nothing passes that it may have dropped. DHCP keeps the host reachable, so that
// somebody can repair the file.
PolicyState closedState() {
    PolicyState state = driverState(LSPdropAllExceptDhcp);
    state.failed = true;
    state.remarks = {remark(vocabulary::Refused::notStored,
                            "the stored policy can't be used; the service's log says why. The driver policy drops "
                            "everything but DHCP until an administrator repairs or removes the file and restarts the "
                            "service")};
    return state;
}

// The bytes that a user's data takes in the file.
std::size_t storedSize(const UserPolicies& user) { return userToJson(user).dump(2).size(); }

} // namespace

// After a failure the first remark says what can't be loaded, and the others say why.
std::string PolicyState::message() const {
    if (remarks.empty()) return {};
    if (!failed) return std::string(policyWarning) + inLines(remarks);
    const std::string what = Loc::fill(remarks.front().phrase);
    return remarks.size() == 1 ? what : what + ": " + inLines({remarks.begin() + 1, remarks.end()});
}

void readTextOf(LoadedPolicy& policy) {
    if (policy.wanted.request.type == LSPdriver) {
        policy.text = {};
        policy.text.title = "Default Driver Policy";
    } else {
        policy.text = readPolicyText(policy.content);
    }
}

StateFile policyFile(const StateFolder& folder) {
    return {folder, {.name = fileName, .check = [](const std::string& text) { stateFromJson(json::parse(text)); }}};
}

PolicyState loadPolicyState(StateFile& file) {
    const std::string text = file.load();
    if (file.origin() == StateFile::Origin::none) return file.problem().empty() ? firstState() : closedState();
    PolicyState state = stateFromJson(json::parse(text));
    for (const auto& remark : file.remarks()) state.remarks.push_back(remark);
    return state;
}

void requireKnown(const StateFile& file) {
    if (file.problem().empty() || file.origin() != StateFile::Origin::none) return;
    throw RefusedError(Refused::notStored,
                       "the stored policy can't be used, so nothing is known of its settings and nothing is changed; "
                       "repair or remove %s and restart the service",
                       file.path());
}

void savePolicyState(StateFile& file, const PolicyState& state) {
    json users = json::object();
    for (const auto& [account, user] : state.users) users[account] = userToJson(user);
    file.writeJson({{"systemSettings", toJson(state.system)},
                    {"systemCopy", copyToJson(state.systemCopy)},
                    {"users", users},
                    {"required", wantedToJson(state.required)},
                    {"inForce", loadedToJson(state.inForce)},
                    {"loading", state.loading ? loadedToJson(*state.loading) : json(nullptr)},
                    {"message", state.message()}, // for readers that do not use the remarks
                    {"remarks", remarksToJson(state.remarks)},
                    {"failed", state.failed}});
}

void requireShare(const PolicyState& present, const PolicyState& next, const std::string& account) {
    const auto kept = [&account](const PolicyState& state) {
        const auto user = state.users.find(account);
        return user == state.users.end() ? 0 : storedSize(user->second);
    };
    const std::size_t size = kept(next);
    if (size <= kept(present)) return;
    std::size_t all = 0;
    for (const auto& [id, user] : next.users) all += storedSize(user);
    if (size <= limits::storedOfAccount && all <= limits::storedOfAllAccounts) return;
    throw RefusedError(
        Refused::notStored,
        "the policy and settings of this account would take %d bytes; at most %d are kept for an account "
        "and %d for all together",
        size, limits::storedOfAccount, limits::storedOfAllAccounts);
}

} // namespace panelkitd
