// SPDX-License-Identifier: MIT
#include <panelctl/policy/policy_names.h>

#include <panelctl/base/exit_codes.h>
#include <panelctl/base/failure_text.h>
#include <panelctl/base/output.h>
#include <panelctl/base/say.h>
#include <panelctl/base/terminal_text.h>

#include <panelkit/format/nearest.h>
#include <platform/text/ascii.h>
#include <platform/text/join.h>
#include <vocabulary/policy.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <system_error>
#include <vector>

namespace panelctl {

using nlohmann::ordered_json;
namespace field = vocabulary::policyInfo;

namespace {

struct TypeRow {
    std::uint32_t type;
    const char* name; // in JSON
    Label text;
};
// clang-format off
constexpr std::array types = {
    TypeRow{LSPdriver,       "driver",        N_("default driver policy")},
    TypeRow{LSPsystemLocal,  "system-local",  N_("system policy of this host")},
    TypeRow{LSPsystemFile,   "system-file",   N_("system policy from a file")},
    TypeRow{LSPsystemServer, "system-server", N_("system policy from a server")},
    TypeRow{LSPsystemOther,  "system-other",  N_("system policy from elsewhere")},
    TypeRow{LSPuserFile,     "user-file",     N_("user policy from a file")},
    TypeRow{LSPuserServer,   "user-server",   N_("user policy from a server")},
    TypeRow{LSPuserLocal,    "user-local",    N_("user policy of this host")},
};

constexpr std::array<const char*, 4> stateNames = {"no-answer", "loading", "in-force", "diagnosed"};
// clang-format on

const TypeRow* typeRow(std::uint32_t type) {
    const auto* const row = std::find_if(types.begin(), types.end(), [&](const TypeRow& r) { return r.type == type; });
    return row == types.end() ? nullptr : row;
}

ordered_json choiceJson(const LPARAMS::Variant* rows, std::int32_t value) {
    const LPARAMS::Variant* row = panelkit::findVariant(rows, value);
    return {{"value", value}, {"name", row && row->name ? ordered_json(row->name) : ordered_json(nullptr)}};
}

ordered_json driverModeJson(std::uint32_t mode) {
    const auto& names = vocabulary::driverModeNames;
    return {{"value", mode}, {"name", mode < names.size() ? ordered_json(names[mode]) : ordered_json(nullptr)}};
}

ordered_json toJson(const LSPserver_t& server) {
    return {{"address", server.Server},
            {"logLevel", choiceJson(LPARAMS::LOG_LEVEL_VARIANTS, server.LogLevel)},
            {"authentication", server.authKind == LSPauthPresharedKey ? "preshared-key" : "certificate"},
            {"idType", choiceJson(LPARAMS::PMP_ID_TYPE_VARIANTS, server.PmpIdType)},
            {"idValue", server.PmpIdValue},
            {"subject", server.Subject},
            {"presharedKey", server.presharedKeyName},
            {"timeout", server.PmpTimeout}};
}

// The names in a list separated by ", ".
std::vector<std::string> splitNames(std::string_view listed) {
    constexpr std::string_view between = ", ";
    std::vector<std::string> names;
    while (!listed.empty()) {
        const std::size_t end = std::min(listed.find(between), listed.size());
        names.emplace_back(listed.substr(0, end));
        listed.remove_prefix(std::min(end + between.size(), listed.size()));
    }
    return names;
}

template <class Print>
void eachLine(std::string_view lines, Print&& print) {
    while (!lines.empty()) {
        const std::size_t end = std::min(lines.find('\n'), lines.size());
        std::string line(lines.substr(0, end));
        std::replace(line.begin(), line.end(), '\t', ' ');
        print(escaped(line));
        lines.remove_prefix(std::min(end + 1, lines.size()));
    }
}

} // namespace

std::string policyTypeName(std::uint32_t type) {
    const TypeRow* row = typeRow(type);
    return row ? say(row->text) : std::to_string(type);
}

std::string driverModeName(std::uint32_t mode) {
    switch (mode) {
    case LSPdropAll: return say("drop all");
    case LSPdropAllExceptDhcp: return say("drop all except DHCP");
    case LSPpassAll: return say("pass all");
    default: return std::to_string(mode);
    }
}

std::string authenticationName(std::uint32_t kind) {
    return kind == LSPauthPresharedKey ? say("preshared key") : say("certificate");
}

std::string choiceName(const LPARAMS::Variant* rows, std::int32_t value) {
    const LPARAMS::Variant* row = panelkit::findVariant(rows, value);
    if (!row) return "=" + std::to_string(value);
    return row->name ? std::string(*row->text) + " (" + row->name + ")" : *row->text;
}

std::int32_t readChoice(const std::string& option, const std::string& given, const LPARAMS::Variant* rows) {
    std::vector<std::string> names;
    for (const LPARAMS::Variant* row = rows; row->text; ++row) {
        if (row->name && platform::equalIgnoringCase(given, row->name)) return row->value;
        if (platform::equalIgnoringCase(given, *row->text) || given == "=" + std::to_string(row->value)) {
            return row->value;
        }
        names.emplace_back(*row->text);
    }
    throw notAmong(option, given, names);
}

CommandError notAmong(const std::string& option, const std::string& given, const std::vector<std::string>& legal) {
    return {Exit::badInput, say("%s: \"%s\" is not one of: %s", option, given, platform::joined(legal)) +
                                didYouMean(panelkit::nearest(given, legal))};
}

ordered_json toJson(const LSPrequest_t& request) {
    const TypeRow* row = typeRow(request.type);
    return {{"type", request.type}, {"kind", row ? row->name : "other"}, {"user", request.user},
            {"file", request.file}, {"server", toJson(request.server)},  {"driverMode", request.driverMode}};
}

ordered_json toJson(const LSPcmd::LSPsettings_t& settings) {
    auto entries = ordered_json::array();
    for (const LSPcmd::LSPentry_t& entry : settings.entries) {
        entries.push_back({entry.first, entry.second, entry.third});
    }
    return {{"schema", 1},
            {"source", choiceJson(LPARAMS::LSP_SOURCE_VARIANTS, settings.Source)},
            {"file", settings.File},
            {"server", toJson(settings.server)},
            {"driverMode", driverModeJson(settings.*vocabulary::policySettings::driverMode)},
            {"loadingDelay", settings.*vocabulary::policySettings::loadingDelay},
            {"entries", entries}};
}

ordered_json toJson(const LSPinfo_t& info, const LSPrequest_t& required, LSPrequest_t::InfoType state,
                    const std::string& shown) {
    return {{"schema", 1},
            {"state", stateNames.at(state)},
            {"text", shown},
            {"message", info.message},
            {"title", info.Title},
            {"name", info.*field::name},
            {"version", info.*field::version},
            {"activatedBy", info.*field::activatedBy},
            {"sectionCount", info.*field::sectionCount},
            {"sections", splitNames(info.*field::sections)},
            {"activated", timeJson(static_cast<std::uint64_t>(std::max<std::int64_t>(info.activated, 0)))},
            {"fromConfigDb", info.fromConfigDb},
            {"asRequired", info.request == required && !info.fromConfigDb},
            {"required", toJson(required)},
            {"inForce", toJson(info.request)},
            {"certificate", info.*field::certificate},
            {"certificateState", info.certificateState},
            {"certificateDate", info.certificateDate}};
}

std::string policyMessage(const LSPinfo_t& info) {
    if (info.message.empty()) return {};
    const bool warns = info.message.starts_with(vocabulary::policyWarning);
    const std::string text = remarksText(bridge::lastRemarks(), info.message);
    return warns && text != info.message ? std::string(vocabulary::policyWarning) + text : text;
}

void noteLines(const std::string& text) { eachLine(text, printNote); }

} // namespace panelctl
