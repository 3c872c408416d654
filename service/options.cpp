// SPDX-License-Identifier: MIT
#include <service/options.h>

#include <service/defaults.h>
#include <service/manual.h>
#include <service/modules/host_process.h>

#include <platform/bridge/endpoint.h>
#include <platform/bridge/peer.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <iostream>

namespace panelkitd {

namespace {

constexpr const char* about = "panelkitd, the reference service of panelkit: it gives front ends on this host access "
                              "to PKCS#11 tokens, certificates, configuration and policy. Unless an engine is "
                              "chosen, it only records the local security policy and filters no traffic.";

const std::map<std::string, LogLevel> levels{{"disabled", LogLevel::disabled},
                                             {"events", LogLevel::events},
                                             {"details", LogLevel::details},
                                             {"debug", LogLevel::debug}};

template <class Duration>
void addSeconds(CLI::App& app, const std::string& name, Duration& value, const std::string& description) {
    app.add_option_function<unsigned>(
           name, [&value](unsigned seconds) { value = std::chrono::seconds(seconds); }, description)
        ->check(CLI::Range(1U, 3600U))
        ->type_name("SECONDS")
        ->default_str(std::to_string(std::chrono::duration_cast<std::chrono::seconds>(value).count()));
}

void addPinFiles(CLI::App& app, std::map<std::string, std::string>& files) {
    const auto add = [&files](const std::string& text) {
        const std::size_t middle = text.find('=');
        if (middle == 0 || middle == std::string::npos || middle + 1 == text.size()) {
            throw CLI::ValidationError("--pin-file", "\"" + text + "\" is not LABEL=PATH");
        }
        files[text.substr(0, middle)] = text.substr(middle + 1);
    };
    app.add_option_function<std::vector<std::string>>(
           "--pin-file",
           [add](const std::vector<std::string>& texts) { std::for_each(texts.begin(), texts.end(), add); },
           "The service logs in to the token of that label with the PIN in the file, which only the service or root "
           "may "
           "read: at the start, and when the token or its module comes back; repeatable")
        ->type_name("LABEL=PATH")
        ->take_all();
}

struct ActionRow {
    const char* option;
    ServiceAction action;
    const char* description;
};

constexpr std::array actions{
    ActionRow{"--install-service", ServiceAction::install,
              "Windows: register panelkitd as a service that starts with the system, with the other options given"},
    ActionRow{"--uninstall-service", ServiceAction::uninstall,
              "Windows: stop the service and remove it; its state stays"},
    ActionRow{"--start-service", ServiceAction::start, "Windows: start the installed service and wait until it serves"},
    ActionRow{"--stop-service", ServiceAction::stop, "Windows: stop the service and wait for its end"},
    ActionRow{"--service-status", ServiceAction::status,
              "Windows: say whether the service runs; the exit status is 0 if it does, otherwise 1"},
};

void addServiceActions(CLI::App& app, Options& options) {
    for (const ActionRow& row : actions) {
        const auto choose = [&options, &row] {
            if (options.serviceAction) throw CLI::ValidationError(row.option, "only one action can be given");
            options.serviceAction = row.action;
        };
        app.add_flag_callback(row.option, choose, row.description);
    }
    app.add_flag(asServiceOption, options.asService)->group("");
}

// What the manager is to start: the options that were given, and those whose default depends on the account.
std::vector<std::string> argumentsOfService(const CLI::App& app, std::vector<std::string> given) {
    std::erase_if(given, [](const std::string& argument) {
        return std::any_of(actions.begin(), actions.end(), [&](const auto& row) { return argument == row.option; });
    });
    std::vector<std::string> arguments{asServiceOption};
    if (app.count("--endpoint") == 0) arguments.insert(arguments.end(), {"--endpoint", bridge::systemEndpoint()});
    if (app.count("--state") == 0) arguments.insert(arguments.end(), {"--state", defaultStateFolder(true)});
    arguments.insert(arguments.end(), given.begin(), given.end());
    return arguments;
}

void addEngine(CLI::App& app, Options& options) {
    app.add_option("--engine", options.engine.name,
                   "What puts the policy into force. record, the default: nothing does; the policy is only recorded")
        ->check(CLI::IsMember(offeredEngines()))
        ->type_name("NAME")
        ->capture_default_str();
    app.add_option("--charon-socket", options.engine.socket,
                   "For the engine charon: control socket (vici) of an IKE daemon that is there already and is used in "
                   "place of one of the service's own; only root may be able to make it")
        ->type_name("PATH");
    app.add_flag("--release-filter", options.releaseFilter,
                 "Remove the packet filter that an engine has left, and end: everything passes then, in clear");
}

} // namespace

std::optional<int> readOptions(const std::vector<std::string>& arguments, Options& options) {
    const bool systemWide = bridge::self().superuser;
    options.endpoint = systemWide ? bridge::systemEndpoint() : bridge::privateEndpoint();
    options.state = defaultStateFolder(systemWide);
    options.usersGroup = defaultUsersGroup();
    options.administratorsGroup = "admin";
    options.providers.embeddedModule = installedEmbeddedModule();

    const CLI::Validator something([](const std::string& given) { return given.empty() ? "is empty" : ""; }, "");
    CLI::App app(about, "panelkitd");
    app.set_version_flag("--version", std::string("panelkitd ") + PANELKIT_VERSION);
    app.add_option("--endpoint", options.endpoint, "Path of the socket (name of the pipe) to serve")
        ->check(something)
        ->capture_default_str();
    app.add_option("--state", options.state, "Folder for the persistent state")
        ->check(something)
        ->capture_default_str();
    app.add_option("--users-group", options.usersGroup, "Group whose members may use the service")
        ->capture_default_str();
    app.add_option("--admin-group", options.administratorsGroup,
                   "Group whose members may administer it, until the configuration names one")
        ->capture_default_str();
    app.add_option("--log-level", options.logLevel,
                   "disabled, events, details or debug, until the configuration sets one")
        ->transform(CLI::CheckedTransformer(levels, CLI::ignore_case))
        ->type_name("LEVEL");
    app.add_option("--embedded-module", options.providers.embeddedModule,
                   "PKCS#11 module of the embedded provider; empty for none")
        ->capture_default_str();
    app.add_option("--allow-module", options.providers.allowed,
                   "PKCS#11 module that may be loaded although other accounts could write its path; repeatable")
        ->take_all();
    addPinFiles(app, options.pinFiles);
    ModuleLimits& limits = options.providers.limits;
    addSeconds(app, "--load-timeout", limits.start, "Seconds that a PKCS#11 module may take to load");
    addSeconds(
        app, "--module-timeout", limits.silence,
        "Seconds that a function of a PKCS#11 module may take; a module that takes longer is stopped and started "
        "again");
    addSeconds(app, "--making-timeout", limits.making,
               "The same for a function that makes a key or erases a token, which can take minutes on a smart card");
    addSeconds(app, "--token-poll", options.tokenPoll, "Seconds between two looks for tokens that came or went");
    addSeconds(app, "--stop-grace", options.stopGrace,
               "Seconds to wait for commands under way when it is asked to end");
    addEngine(app, options);
    addServiceActions(app, options);
    app.add_option(hostOption, options.hostedModule)->group(""); // for the service itself, not shown
    app.add_option(channelOption, options.channel)->group("");
    bool wantsManual = false;
    app.add_flag(manualRequest, wantsManual)->group("");
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend())); // it takes them from the end
        if (app.count("--charon-socket") > 0 && (options.engine.name != "charon" || options.engine.socket.empty())) {
            throw CLI::ValidationError("--charon-socket", "needs a path, and --engine charon");
        }
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    if (wantsManual) {
        std::cout << manual(app);
        return 0;
    }
    options.serviceSetup = {argumentsOfService(app, arguments),
                            app.count("--state") == 0 ? defaultStateFolder(true) : options.state};
    return std::nullopt;
}

} // namespace panelkitd
