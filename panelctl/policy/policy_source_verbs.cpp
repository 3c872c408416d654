// SPDX-License-Identifier: MIT
//
// panelctl policy source ...: where the policy is taken from, for the system and for a user.
#include <panelctl/base/exit_codes.h>
#include <panelctl/base/output.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/base/verbs.h>
#include <panelctl/policy/policy_names.h>

#include <panelkit/lsp/user_settings_file.h>

#include <platform/text/utf8_path.h>
#include <vocabulary/policy.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <filesystem>
#include <optional>
#include <system_error>

namespace panelctl {

using LSPcmd::LSPsettings_t;
namespace systemField = vocabulary::policySettings;

namespace {

constexpr std::int32_t sourceFile = 1;
constexpr std::int32_t sourceServer = 2;

// Whose settings: the system's, or with --user those of the named user, or of the current one.
struct Owner {
    std::string user;
    CLI::Option* option = nullptr;

    void options(CLI::App& verb) {
        option = verb.add_option("--user", user,
                                 say("The settings of a user instead of the system's; without a name yours, those in "
                                     "your own file included"))
                     ->expected(0, 1)
                     ->type_name("[NAME]");
    }
    bool isUser() const { return option->count() > 0; }
    bool isCurrentUser() const { return isUser() && user.empty(); }

    LSPsettings_t get() const {
        LSPController controller;
        LSPsettings_t settings;
        const bool answered =
            isUser() ? controller.cmdGetUserSettings(user, &settings) : controller.cmdGetSettings(&settings);
        if (!answered) throw lastFailureError();
        return settings;
    }
    void set(const LSPsettings_t& settings) const {
        LSPController controller;
        bool applied = false;
        const bool answered = isUser() ? controller.cmdSetUserSettings(user, settings, applied)
                                       : controller.cmdSetSettings(settings, applied);
        if (!answered) throw lastFailureError();
        if (!applied) throw CommandError(Exit::settingsNotApplied, say("the service rejected the settings"));
    }
};

// Driver mode and loading delay have an effect only in the system's settings, so they are shown only there.
void printSettings(const LSPsettings_t& settings, bool ofSystem) {
    const LSPserver_t& server = settings.server;
    Table table({say("SETTING"), say("VALUE")});
    const auto row = [&](const std::string& name, const std::string& value) { table.add({{name}, {value}}); };
    row(say("source"), choiceName(LPARAMS::LSP_SOURCE_VARIANTS, settings.Source));
    row(say("file"), settings.File);
    row(say("server"), server.Server);
    row(say("log level"), choiceName(LPARAMS::LOG_LEVEL_VARIANTS, server.LogLevel));
    row(say("authentication"), authenticationName(server.authKind));
    row(say("identity type"), choiceName(LPARAMS::PMP_ID_TYPE_VARIANTS, server.PmpIdType));
    row(say("identity"), server.PmpIdValue);
    row(say("subject"), server.Subject);
    row(say("preshared key"), server.presharedKeyName);
    row(say("time-out"), say("%d s", server.PmpTimeout));
    if (ofSystem) {
        row(say("driver mode"), driverModeName(settings.*systemField::driverMode));
        row(say("loading delay"), say("%d ms", settings.*systemField::loadingDelay));
    }
    for (const LSPcmd::LSPentry_t& entry : settings.entries) {
        row(say("entry"), entry.first + " " + entry.second + " " + entry.third);
    }
    table.print();
}

struct SourceGet {
    Owner owner;

    void options(CLI::App& verb) { owner.options(verb); }
    void run(const Context& context) const {
        const LSPsettings_t settings = owner.get();
        if (context.json) return printJson(toJson(settings));
        printSettings(settings, !owner.isUser());
    }
};

// Relative to the current folder: the service, and front ends that run later, have other working folders.
std::string absolutePath(const std::string& utf8) {
    if (utf8.empty()) return utf8;
    std::error_code error;
    const auto path = std::filesystem::absolute(platform::toPath(utf8), error);
    if (error) throw CommandError(Exit::badInput, utf8 + ": " + error.message());
    return platform::fromPath(path);
}

class SourceSet {
public:
    void options(CLI::App& verb) {
        owner_.options(verb);
        const auto add = [&](const char* name, auto& value, const std::string& help) {
            verb.add_option(name, value, help);
        };
        add("--source", source_, say("DDP, File, PMP... or a symbolic name such as SOURCE_FILE, or =NUMBER"));
        add("--file", file_, say("Path of the policy file"));
        add("--server", server_, say("Address of the policy server"));
        add("--log-level", logLevel_, say("Log level of the policy exchange"));
        add("--auth", auth_, say("How the server is authenticated: certificate or preshared-key"));
        add("--id-type", idType_, say("Type of the identity shown to the server"));
        add("--id-value", idValue_, say("The identity"));
        add("--subject", subject_, say("Subject of the certificate shown to the server"));
        add("--psk", key_, say("Name of the preshared key used with the server"));
        add("--pmp-timeout", timeout_, say("Seconds to wait for the policy exchange"));
        add("--driver-mode", driverMode_,
            say("What the default driver policy does: drop-all, drop-all-except-dhcp or pass-all; only for the "
                "system"));
        add("--loading-delay", delay_,
            say("Milliseconds that loading a policy takes, up to 60000; only for the system"));
    }

    void run(const Context& context) const {
        if (owner_.isUser()) refuseWhatIsTheSystems();
        LSPsettings_t settings = owner_.get();
        if (!change(settings)) {
            throw CommandError(Exit::usage, say("nothing to change; give at least one setting, such as --source"));
        }
        check(settings);
        owner_.set(settings);
        if (owner_.isCurrentUser()) storeOwnFile(settings);
        if (context.json) return printJson(toJson(settings));
        printLine(owner_.isUser() ? say("The policy source of the user is set.")
                                  : say("The policy source of the system is set."));
    }

private:
    // Returns whether there was anything to change.
    bool change(LSPsettings_t& settings) const {
        bool any = false;
        const auto put = [&](const auto& given, auto& field, auto&& read) {
            if (!given) return;
            field = read(*given);
            any = true;
        };
        const auto asIs = [](const auto& value) { return value; };
        const auto choice = [](const char* option, const LPARAMS::Variant* rows) {
            return [option, rows](const std::string& value) { return readChoice(option, value, rows); };
        };
        LSPserver_t& server = settings.server;
        put(source_, settings.Source, choice("--source", LPARAMS::LSP_SOURCE_VARIANTS));
        put(file_, settings.File, absolutePath);
        put(server_, server.Server, asIs);
        put(logLevel_, server.LogLevel, choice("--log-level", LPARAMS::LOG_LEVEL_VARIANTS));
        put(auth_, server.authKind, readAuthentication);
        put(idType_, server.PmpIdType, choice("--id-type", LPARAMS::PMP_ID_TYPE_VARIANTS));
        put(idValue_, server.PmpIdValue, asIs);
        put(subject_, server.Subject, asIs);
        put(key_, server.presharedKeyName, asIs);
        put(timeout_, server.PmpTimeout, asIs);
        put(driverMode_, settings.*systemField::driverMode, readDriverMode);
        put(delay_, settings.*systemField::loadingDelay, readDelay);
        return any;
    }

    static std::uint32_t readAuthentication(const std::string& text) {
        if (text == "preshared-key") return LSPauthPresharedKey;
        if (text == "certificate") return 0;
        throw notAmong("--auth", text, {"certificate", "preshared-key"});
    }

    static std::uint32_t readDriverMode(const std::string& name) {
        const auto& names = vocabulary::driverModeNames;
        const auto* const found = std::find(names.begin(), names.end(), name);
        if (found != names.end()) return static_cast<std::uint32_t>(found - names.begin());
        std::vector<std::string> legal(names.begin(), names.end());
        throw notAmong("--driver-mode", name, legal);
    }
    static std::uint32_t readDelay(std::int64_t milliseconds) {
        constexpr std::uint32_t longest = vocabulary::longestLoadingDelay;
        if (milliseconds >= 0 && milliseconds <= longest) return static_cast<std::uint32_t>(milliseconds);
        throw CommandError(Exit::badInput,
                           say("--loading-delay: %d is not between 0 and %d milliseconds", milliseconds, longest));
    }

    void refuseWhatIsTheSystems() const {
        const char* const option = driverMode_ ? "--driver-mode" : delay_ ? "--loading-delay" : nullptr;
        if (option) {
            throw CommandError(Exit::usage, say("%s is a setting of the system; it can't be used with --user", option));
        }
    }

    // Called before anything is sent, so that nothing is half done.
    void check(const LSPsettings_t& settings) const {
        const auto demand = [](bool good, const char* option) {
            if (!good) throw CommandError(Exit::badInput, say("a valid value is missing; give %s", option));
        };
        demand(settings.Source != sourceFile || !settings.File.empty(), "--file");
        demand(settings.Source != sourceServer || !settings.server.Server.empty(), "--server");
        demand(settings.server.PmpTimeout >= 0, "--pmp-timeout");
        if (!owner_.isCurrentUser()) return;
        demand(panelkit::findVariant(LPARAMS::LSP_SOURCE_VARIANTS, settings.Source), "--source");
        demand(panelkit::findVariant(LPARAMS::LOG_LEVEL_VARIANTS, settings.server.LogLevel), "--log-level");
        demand(panelkit::findVariant(LPARAMS::PMP_ID_TYPE_VARIANTS, settings.server.PmpIdType), "--id-type");
    }

    // The service is given this file when it asks for the current user's settings.
    static void storeOwnFile(const LSPsettings_t& settings) {
        try {
            panelkit::storeUserSettings(settings);
        } catch (const std::runtime_error& error) {
            throw CommandError(
                Exit::failed,
                say("the service accepted the settings, but they could not be written to your own file: %s",
                    error.what()));
        }
    }

    Owner owner_;
    std::optional<std::string> source_, file_, server_, logLevel_, auth_, idType_, idValue_, subject_, key_,
        driverMode_;
    std::optional<std::int32_t> timeout_;
    std::optional<std::int64_t> delay_;
};

} // namespace

void addPolicySourceVerbs(CLI::App& group, const Context& context) {
    CLI::App* const source = group.add_subcommand("source", say("Where the policy comes from"));
    source->require_subcommand(1);
    addVerb<SourceGet>(*source, context, "get", say("Show the settings of the policy source"));
    addVerb<SourceSet>(*source, context, "set",
                       say("Change settings of the policy source; settings that are not given stay as they are"));
}

} // namespace panelctl
