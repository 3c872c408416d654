// SPDX-License-Identifier: MIT
#include <service/policy/activation.h>

#include <platform/system/utf8_character.h>
#include <vocabulary/policy.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace panelkitd {

namespace {

// Where a policy can come from, by the numbers of LPARAMS::LSP_SOURCE_VARIANTS, and the types that this makes.
struct SourceRow {
    std::int32_t source;
    const char* name;
    const char* server; // what this service has no client for; null where none is needed
    LSPtype systemType;
    LSPtype userType;
};

namespace settingsField = vocabulary::policySettings;

// clang-format off
constexpr SourceRow sources[] = {
    {0, "SOURCE_DDP",  nullptr,              LSPdriver,       LSPdriver},
    {1, "SOURCE_FILE", nullptr,              LSPsystemFile,   LSPuserFile},
    {2, "SOURCE_PMP",  "PMP policy servers", LSPsystemServer, LSPuserServer},
    {3, "SOURCE_TPN",  "TROM servers",       LSPsystemOther,  LSPuserLocal},
    {4, "SOURCE_HTTP", "HTTP servers",       LSPsystemOther,  LSPuserLocal},
    {5, "SOURCE_GATE", "security gateways",  LSPsystemOther,  LSPuserLocal},
};
// clang-format on

// Why a policy can't be loaded.
class LoadingError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

const SourceRow* sourceRow(std::int32_t source) {
    const auto* row = std::find_if(std::begin(sources), std::end(sources),
                                   [source](const SourceRow& one) { return one.source == source; });
    return row == std::end(sources) ? nullptr : row;
}

WantedPolicy wantedOf(const LSPcmd::LSPsettings_t& settings, const std::string& user, std::uint32_t driverMode) {
    const SourceRow* const row = sourceRow(settings.Source);
    WantedPolicy wanted;
    if (!row || row->systemType == LSPdriver) {
        wanted.request = driverRequest(driverMode);
        return wanted;
    }
    wanted.source = settings.Source;
    wanted.request.type = user.empty() ? row->systemType : row->userType;
    wanted.request.user = user;
    wanted.request.server = settings.server;
    wanted.request.file = isFilePolicy(wanted.request.type) ? settings.File : std::string();
    // A front end may hand over a policy that is in no file.
    if (isFilePolicy(wanted.request.type) && settings.File.empty()) {
        wanted.request.type = user.empty() ? LSPsystemLocal : LSPuserLocal;
    }
    return wanted;
}

std::string describeFile(const std::string& file) { return "policy file" + (file.empty() ? "" : " " + file); }

PolicyCopy& copyFor(PolicyState& state, const WantedPolicy& wanted) {
    if (wanted.userId.empty()) return state.systemCopy;
    UserPolicies& user = state.users[wanted.userId];
    if (user.name.empty()) user.name = wanted.request.user;
    return user.copy;
}

bool needsContent(const WantedPolicy& wanted) {
    const SourceRow* const row = sourceRow(wanted.source);
    return wanted.request.type != LSPdriver && !(row && row->server);
}

// A policy that is in no file has no other place to come from, so of it nothing is said.
void takeKeptCopy(PolicyState& state, LoadedPolicy& policy) {
    const std::string& file = policy.wanted.request.file;
    const PolicyCopy& copy = copyFor(state, policy.wanted);
    if (copy.content.empty() || copy.file != file) {
        throw LoadingError("the " + describeFile(file) + " is empty or can't be read, and no copy of it is kept");
    }
    policy.content = copy.content;
    policy.fromConfigDb = isFilePolicy(policy.wanted.request.type);
}

// Gives remarks.
std::string load(PolicyState& state, LoadedPolicy& policy) {
    const SourceRow* const row = sourceRow(policy.wanted.source);
    if (policy.wanted.request.type == LSPdriver && !policy.content.empty()) {
        throw LoadingError("the settings ask for the driver policy, which takes no file");
    }
    if (row && row->server) {
        throw LoadingError(std::string("this service has no client for ") + row->server + " (" + row->name + ")");
    }
    try {
        readTextOf(policy);
    } catch (const PolicyTextError& error) {
        throw LoadingError(describeFile(policy.wanted.request.file) + ": " + error.what());
    }
    if (!policy.content.empty()) copyFor(state, policy.wanted) = {policy.wanted.request.file, policy.content};
    return policy.text.remarks;
}

// `take` finds the content where there is none yet, and gives a remark on that.
bool run(PolicyState& state, LoadedPolicy policy, std::string (*take)(PolicyState& state, LoadedPolicy& policy),
         std::int64_t now) {
    state.required = policy.wanted;
    state.loading.reset();
    try {
        std::string remarks = needsContent(policy.wanted) && policy.content.empty() ? take(state, policy) : "";
        const std::string more = load(state, policy);
        if (!remarks.empty() && !more.empty()) remarks += '\n';
        remarks += more;
        state.message = remarks.empty() ? "" : "#warn: " + remarks;
        state.failed = false;
    } catch (const LoadingError& error) {
        state.message = error.what();
        state.failed = true;
        return false;
    }
    state.loading = std::move(policy);
    if (state.system.*settingsField::loadingDelay == 0) finishLoading(state, now);
    return true;
}

// Text that people typed: it is shown and stored, and must not hold what acts on a terminal.
bool isText(const std::string& text, std::size_t longest) {
    return text.size() <= longest && platform::isValidUtf8(text) &&
           std::none_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; });
}

bool isVariant(std::int32_t value, std::int32_t last) { return value >= 0 && value <= last; }

std::size_t textOf(const std::list<LSPcmd::LSPentry_t>& entries) {
    std::size_t size = 0;
    for (const LSPcmd::LSPentry_t& entry : entries)
        size += entry.first.size() + entry.second.size() + entry.third.size();
    return size;
}

struct SettingsRule {
    const char* field;
    bool (*fits)(const LSPcmd::LSPsettings_t& settings);
};

// clang-format off
constexpr SettingsRule settingsRules[] = {
    {"Source",                [](const LSPcmd::LSPsettings_t& s) { return sourceRow(s.Source) != nullptr; }},
    {"File",                  [](const LSPcmd::LSPsettings_t& s) { return isText(s.File, 4096); }},
    {"Server",                [](const LSPcmd::LSPsettings_t& s) { return isText(s.server.Server, 1024); }},
    {"LogLevel",              [](const LSPcmd::LSPsettings_t& s) { return isVariant(s.server.LogLevel, 3); }},
    {"PmpIdType",             [](const LSPcmd::LSPsettings_t& s) { return isVariant(s.server.PmpIdType, 5); }},
    {"PmpIdValue",            [](const LSPcmd::LSPsettings_t& s) { return isText(s.server.PmpIdValue, 1024); }},
    {"Subject",               [](const LSPcmd::LSPsettings_t& s) { return isText(s.server.Subject, 1024); }},
    {"preshared key's name",  [](const LSPcmd::LSPsettings_t& s) { return isText(s.server.presharedKeyName, 1024); }},
    {"PmpTimeout",            [](const LSPcmd::LSPsettings_t& s) { return s.server.PmpTimeout >= 0; }},
    {"driver mode (value 1)", [](const LSPcmd::LSPsettings_t& s) { return s.*settingsField::driverMode <= LSPpassAll; }},
    {"loading delay (value 2)", [](const LSPcmd::LSPsettings_t& s) { return s.*settingsField::loadingDelay <= vocabulary::longestLoadingDelay; }},
    {"number of entries",     [](const LSPcmd::LSPsettings_t& s) { return s.entries.size() <= 1000; }},
    {"text of an entry",      [](const LSPcmd::LSPsettings_t& s) {
         return std::all_of(s.entries.begin(), s.entries.end(), [](const LSPcmd::LSPentry_t& e) {
             return isText(e.first, 1024) && isText(e.second, 1024) && isText(e.third, 1024);
         });
     }},
    {"size of all entries",   [](const LSPcmd::LSPsettings_t& s) { return textOf(s.entries) <= vocabulary::largestPolicyEntries; }},
};
// clang-format on

} // namespace

LSPrequest_t driverRequest(std::uint32_t mode) {
    LSPrequest_t request;
    request.type = LSPdriver;
    request.driverMode = mode;
    return request;
}

WantedPolicy systemPolicyOf(const PolicyState& state) {
    return wantedOf(state.system, {}, state.system.*settingsField::driverMode);
}

WantedPolicy userPolicyOf(const PolicyState& state, const std::string& userId, const std::string& userName) {
    const auto user = state.users.find(userId);
    const auto settings = user == state.users.end() ? LSPcmd::LSPsettings_t() : user->second.settings();
    WantedPolicy wanted = wantedOf(settings, userName, state.system.*settingsField::driverMode);
    wanted.userId = userId;
    return wanted;
}

bool activate(PolicyState& state, const WantedPolicy& wanted, const std::string& content, std::int64_t now) {
    LoadedPolicy policy;
    policy.wanted = wanted;
    policy.content = content;
    const auto take = [](PolicyState& from, LoadedPolicy& into) {
        takeKeptCopy(from, into);
        return "the " + describeFile(into.wanted.request.file) +
               " is empty or can't be read; the copy that was kept is used";
    };
    return run(state, std::move(policy), take, now);
}

bool activateAgain(PolicyState& state, const WantedPolicy& wanted, std::int64_t now) {
    LoadedPolicy policy;
    policy.wanted = wanted;
    const auto take = [](PolicyState& from, LoadedPolicy& into) {
        takeKeptCopy(from, into);
        return std::string();
    };
    return run(state, std::move(policy), take, now);
}

void finishLoading(PolicyState& state, std::int64_t now) {
    if (!state.loading) return;
    state.inForce = std::move(*state.loading);
    state.inForce.activated = now;
    state.loading.reset();
}

bool resume(PolicyState& state, std::int64_t now) {
    const bool wasLoading = state.loading.has_value();
    finishLoading(state, now);
    // The file itself is out of reach until a front end hands it over again.
    const bool isFromCopy = isFilePolicy(state.inForce.wanted.request.type) && !state.inForce.fromConfigDb;
    if (isFromCopy) state.inForce.fromConfigDb = true;
    return wasLoading || isFromCopy;
}

std::string problemOf(const LSPcmd::LSPsettings_t& settings) {
    const auto* rule = std::find_if(std::begin(settingsRules), std::end(settingsRules),
                                    [&](const SettingsRule& one) { return !one.fits(settings); });
    if (rule == std::end(settingsRules)) return {};
    return std::string("the policy settings can't be taken: their ") + rule->field + " is out of bounds";
}

} // namespace panelkitd
