// SPDX-License-Identifier: MIT
#include <service/policy/policy_state.h>

#include <service/log.h>
#include <service/policy/policy_json.h>

#include <vocabulary/policy.h>

#include <chrono>

namespace panelkitd {

namespace {

constexpr const char* fileName = "policy.json";
constexpr int fileFormat = 1;

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

PolicyState stateFromJson(const json& from) {
    PolicyState state;
    fromJson(from.at("systemSettings"), state.system);
    state.systemCopy = copyFromJson(from.at("systemCopy"));
    for (const auto& [account, user] : from.at("users").items()) state.users[account] = userFromJson(user);
    state.required = wantedFromJson(from.at("required"));
    state.inForce = loadedFromJson(from.at("inForce"));
    if (!from.at("loading").is_null()) state.loading = loadedFromJson(from.at("loading"));
    from.at("message").get_to(state.message);
    from.at("failed").get_to(state.failed);
    return state;
}

// The driver policy with the mode of the default settings, in force from now on.
PolicyState firstState() {
    PolicyState state;
    state.required.request.driverMode = state.system.*vocabulary::policySettings::driverMode;
    state.inForce.wanted = state.required;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    state.inForce.activated = std::chrono::duration_cast<std::chrono::seconds>(now).count();
    return state;
}

} // namespace

void readTextOf(LoadedPolicy& policy) {
    if (policy.wanted.request.type == LSPdriver) {
        policy.text = {};
        policy.text.title = "Default Driver Policy";
    } else {
        policy.text = readPolicyText(policy.content);
    }
}

PolicyState loadPolicyState(const StateFolder& folder) {
    const auto stored = folder.readJson(fileName, fileFormat);
    if (!stored) return firstState();
    std::string problem;
    try {
        return stateFromJson(*stored);
    } catch (const json::exception& error) {
        problem = error.what();
    } catch (const PolicyTextError& error) {
        problem = error.what();
    }
    logError(folder.file(fileName) + ": " + problem + "; the driver policy takes its place");
    folder.writeJson(std::string(fileName) + ".damaged", fileFormat, *stored);
    return firstState();
}

void savePolicyState(const StateFolder& folder, const PolicyState& state) {
    json users = json::object();
    for (const auto& [account, user] : state.users) users[account] = userToJson(user);
    folder.writeJson(fileName, fileFormat,
                     {{"systemSettings", toJson(state.system)},
                      {"systemCopy", copyToJson(state.systemCopy)},
                      {"users", users},
                      {"required", wantedToJson(state.required)},
                      {"inForce", loadedToJson(state.inForce)},
                      {"loading", state.loading ? loadedToJson(*state.loading) : json(nullptr)},
                      {"message", state.message},
                      {"failed", state.failed}});
}

} // namespace panelkitd
