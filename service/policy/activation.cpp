// SPDX-License-Identifier: MIT
#include <service/policy/activation.h>

#include <platform/text/utf8_character.h>
#include <vocabulary/policy.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

namespace panelkitd {

using Loc::N_;
using vocabulary::Refused;

namespace {

// Where a policy can come from, by the numbers of LPARAMS::LSP_SOURCE_VARIANTS, and the resulting types.
using NoClient = Loc::MarkedWording<>;

struct SourceRow {
    std::int32_t source;
    std::optional<NoClient> noClient; // why it fails, if it needs a client that this service lacks
    LSPtype systemType;
    LSPtype userType;
};

namespace settingsField = vocabulary::policySettings;

// clang-format off
constexpr SourceRow sources[] = {
    {0, {} /* SOURCE_DDP */,                                                            LSPdriver,       LSPdriver},
    {1, {} /* SOURCE_FILE */,                                                           LSPsystemFile,   LSPuserFile},
    {2, NoClient(N_("this service has no client for PMP policy servers (SOURCE_PMP)")), LSPsystemServer, LSPuserServer},
    {3, NoClient(N_("this service has no client for TROM servers (SOURCE_TPN)")),       LSPsystemOther,  LSPuserLocal},
    {4, NoClient(N_("this service has no client for HTTP servers (SOURCE_HTTP)")),      LSPsystemOther,  LSPuserLocal},
    {5, NoClient(N_("this service has no client for security gateways (SOURCE_GATE)")), LSPsystemOther,  LSPuserLocal},
};
// clang-format on

// Thrown when a policy can't be loaded.
class LoadingError : public ExplainedError {
public:
    using ExplainedError::ExplainedError;
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
    // A front end may send a policy that is not from a file.
    if (isFilePolicy(wanted.request.type) && settings.File.empty()) {
        wanted.request.type = user.empty() ? LSPsystemLocal : LSPuserLocal;
    }
    return wanted;
}

// A remark on a policy file; the front end may have sent it without a name.
bridge::Remark remarkOnFile(Refused code, const std::string& file, Loc::MarkedWording<'s'> ofNamed,
                            Loc::MarkedWording<> ofNameless) {
    return file.empty() ? remark(code, ofNameless) : remark(code, ofNamed, file);
}

PolicyCopy& copyFor(PolicyState& state, const WantedPolicy& wanted) {
    if (wanted.userId.empty()) return state.systemCopy;
    UserPolicies& user = state.users[wanted.userId];
    if (user.name.empty()) user.name = wanted.request.user;
    return user.copy;
}

bool needsContent(const WantedPolicy& wanted) {
    const SourceRow* const row = sourceRow(wanted.source);
    return wanted.request.type != LSPdriver && !(row && row->noClient);
}

// A policy that is not from a file always comes from the copy, so there is no remark on that.
void takeKeptCopy(PolicyState& state, LoadedPolicy& policy) {
    const std::string& file = policy.wanted.request.file;
    const PolicyCopy& copy = copyFor(state, policy.wanted);
    if (copy.content.empty() || copy.file != file) {
        throw LoadingError({remarkOnFile(Refused::badInput, file,
                                         N_("the policy file %s is empty or can't be read, and no copy of it is kept"),
                                         N_("the policy file is empty or can't be read, and no copy of it is kept"))});
    }
    policy.content = copy.content;
    policy.fromConfigDb = isFilePolicy(policy.wanted.request.type);
}

// Returns remarks.
Remarks load(PolicyState& state, LoadedPolicy& policy) {
    const SourceRow* const row = sourceRow(policy.wanted.source);
    const std::string& file = policy.wanted.request.file;
    if (policy.wanted.request.type == LSPdriver && !policy.content.empty()) {
        throw LoadingError({remark(Refused::badInput, "the settings ask for the driver policy, which takes no file")});
    }
    if (row && row->noClient) throw LoadingError({remark(Refused::notSupported, *row->noClient)});
    try {
        readTextOf(policy);
    } catch (const PolicyTextError& error) {
        Remarks why{remarkOnFile(Refused::badInput, file, N_("policy file %s"), N_("policy file"))};
        why.insert(why.end(), error.problems.begin(), error.problems.end());
        throw LoadingError(std::move(why));
    }
    if (!policy.content.empty()) copyFor(state, policy.wanted) = {file, policy.content};
    return policy.text.remarks;
}

// `take` gets the content if there is none yet, and returns remarks on it.
bool run(PolicyState& state, LoadedPolicy policy, Remarks (*take)(PolicyState& state, LoadedPolicy& policy),
         std::int64_t now) {
    state.required = policy.wanted;
    state.loading.reset();
    try {
        Remarks remarks = needsContent(policy.wanted) && policy.content.empty() ? take(state, policy) : Remarks();
        const Remarks more = load(state, policy);
        remarks.insert(remarks.end(), more.begin(), more.end());
        state.remarks = std::move(remarks);
        state.failed = false;
    } catch (const LoadingError& error) {
        state.remarks = error.remarks;
        state.failed = true;
        return false;
    }
    state.loading = std::move(policy);
    if (state.system.*settingsField::loadingDelay == 0) finishLoading(state, now);
    return true;
}

// Text that people typed. It is stored and shown, so it must not have characters that control a terminal.
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

// The limits in the wordings below.
constexpr std::size_t longestText = 1024, longestFile = 4096, mostEntries = 1000;

struct SettingsRule {
    Loc::MarkedWording<> ifBroken;
    bool (*fits)(const LSPcmd::LSPsettings_t& settings);
};

// clang-format off
constexpr SettingsRule settingsRules[] = {
    {N_("Source is not a number from 0 to 5"),                                  [](const LSPcmd::LSPsettings_t& s) { return sourceRow(s.Source) != nullptr; }},
    {N_("File has more than 4096 bytes, or control characters"),                [](const LSPcmd::LSPsettings_t& s) { return isText(s.File, longestFile); }},
    {N_("Server has more than 1024 bytes, or control characters"),              [](const LSPcmd::LSPsettings_t& s) { return isText(s.server.Server, longestText); }},
    {N_("LogLevel is not a number from 0 to 3"),                                [](const LSPcmd::LSPsettings_t& s) { return isVariant(s.server.LogLevel, 3); }},
    {N_("PmpIdType is not a number from 0 to 5"),                               [](const LSPcmd::LSPsettings_t& s) { return isVariant(s.server.PmpIdType, 5); }},
    {N_("PmpIdValue has more than 1024 bytes, or control characters"),          [](const LSPcmd::LSPsettings_t& s) { return isText(s.server.PmpIdValue, longestText); }},
    {N_("Subject has more than 1024 bytes, or control characters"),             [](const LSPcmd::LSPsettings_t& s) { return isText(s.server.Subject, longestText); }},
    {N_("the preshared key's name has more than 1024 bytes, or control characters"), [](const LSPcmd::LSPsettings_t& s) { return isText(s.server.presharedKeyName, longestText); }},
    {N_("PmpTimeout is negative"),                                              [](const LSPcmd::LSPsettings_t& s) { return s.server.PmpTimeout >= 0; }},
    {N_("the driver mode (value 1) is not a number from 0 to 2"),               [](const LSPcmd::LSPsettings_t& s) { return s.*settingsField::driverMode <= LSPpassAll; }},
    {N_("the loading delay (value 2) is longer than a minute"),                 [](const LSPcmd::LSPsettings_t& s) { return s.*settingsField::loadingDelay <= vocabulary::longestLoadingDelay; }},
    {N_("there are more than 1000 entries"),                                    [](const LSPcmd::LSPsettings_t& s) { return s.entries.size() <= mostEntries; }},
    {N_("a text of an entry has more than 1024 bytes, or control characters"),  [](const LSPcmd::LSPsettings_t& s) {
         return std::all_of(s.entries.begin(), s.entries.end(), [](const LSPcmd::LSPentry_t& e) {
             return isText(e.first, longestText) && isText(e.second, longestText) && isText(e.third, longestText);
         });
     }},
    {N_("the texts of all entries have more than 256 KiB together"),            [](const LSPcmd::LSPsettings_t& s) { return textOf(s.entries) <= vocabulary::largestPolicyEntries; }},
};
// clang-format on
static_assert(vocabulary::largestPolicyEntries == 256U << 10 && vocabulary::longestLoadingDelay == 60'000);

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
        return Remarks{remarkOnFile(Refused::policyCopy, into.wanted.request.file,
                                    N_("the policy file %s is empty or can't be read; the copy that was kept is used"),
                                    N_("the policy file is empty or can't be read; the copy that was kept is used"))};
    };
    return run(state, std::move(policy), take, now);
}

bool activateAgain(PolicyState& state, const WantedPolicy& wanted, std::int64_t now) {
    LoadedPolicy policy;
    policy.wanted = wanted;
    const auto take = [](PolicyState& from, LoadedPolicy& into) {
        takeKeptCopy(from, into);
        return Remarks();
    };
    return run(state, std::move(policy), take, now);
}

void finishLoading(PolicyState& state, std::int64_t now) {
    if (!state.loading) return;
    state.inForce = std::move(*state.loading);
    state.inForce.activated = now;
    state.loading.reset();
}

void failActivation(PolicyState& state, const PolicyState& before, const Remarks& why) {
    const WantedPolicy required = state.required;
    state = before;
    state.required = required;
    state.loading.reset();
    state.remarks = why;
    state.failed = true;
}

EnginePolicy enginePolicyOf(const LoadedPolicy& policy, bool resumed) {
    const LSPrequest_t& request = policy.wanted.request;
    if (request.type == LSPdriver) return {request.driverMode, std::nullopt, resumed, {}};
    return {LSPdropAll, policy.text, resumed, policy.wanted.userId.empty() ? std::string() : request.user};
}

bool resume(PolicyState& state, std::int64_t now) {
    const bool wasLoading = state.loading.has_value();
    finishLoading(state, now);
    // The file itself is not available until a front end sends it again.
    const bool isFromCopy = isFilePolicy(state.inForce.wanted.request.type) && !state.inForce.fromConfigDb;
    if (isFromCopy) state.inForce.fromConfigDb = true;
    return wasLoading || isFromCopy;
}

void requireTakeable(const LSPcmd::LSPsettings_t& settings) {
    for (const SettingsRule& rule : settingsRules) {
        if (rule.fits(settings)) continue;
        throw RefusedError(Refused::badInput, "the policy settings can't be taken")
            .because({remark(Refused::badInput, rule.ifBroken)});
    }
}

} // namespace panelkitd
