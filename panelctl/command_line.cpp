// SPDX-License-Identifier: MIT
#include <panelctl/command_line.h>

#include <panelctl/display_width.h>
#include <panelctl/exit_codes.h>
#include <panelctl/failure_text.h>
#include <panelctl/help.h>
#include <panelctl/language.h>
#include <panelctl/mistakes.h>
#include <panelctl/output.h>
#include <panelctl/program/completion.h>
#include <panelctl/program/manual.h>
#include <panelctl/terminal.h>
#include <panelctl/verbs.h>

#include <panelkit/bridge/sessions_pool.h>
#include <panelkit/version.h>
#include <platform/bridge/bridge_session.h>
#include <platform/bridge/command_sender.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <optional>
#include <utility>

namespace panelctl {

namespace {

struct GlobalOptions {
    std::string endpoint;
    std::optional<double> timeout; // seconds
    std::string language;          // chosen before, since every text is in it
    bool noColour = false;
    bool version = false;
};

void addGlobalOptions(CLI::App& app, GlobalOptions& options, Context& context) {
    app.fallthrough(); // they are taken behind the verb too
    app.set_help_flag("-h,--help", text(Say::helpOption));
    app.option_defaults()->take_last();
    app.add_option("--endpoint", options.endpoint, text(Say::optionEndpoint))->type_name("PATH");
    app.add_flag("--json", context.json, text(Say::optionJson));
    app.add_option("--timeout", options.timeout, text(Say::optionTimeout))
        ->type_name("SECONDS")
        ->check(numberBetween(0, 86400));
    app.add_option("--lang", options.language, text(Say::optionLanguage))->type_name("LANGUAGE");
    app.add_flag("--no-color", options.noColour, text(Say::optionColour));
    app.add_flag("--version", options.version, text(Say::optionVersion));
}

// Before the verb runs.
void applyGlobalOptions(const GlobalOptions& options) {
    setColours(!options.noColour && !std::getenv("NO_COLOR") && coloursWork());
    CommandSender& sender = CommandSender::Instance();
    if (!options.endpoint.empty()) sender.SetEndpoint(options.endpoint);
    if (options.timeout) sender.SetWait(static_cast<std::uint32_t>(*options.timeout * 1000));
}

void printVersions(const Context& context) {
    BridgeSession* const session = SessionsPool::GetSession(SessionParameters);
    const bool reached = session && session->Connect();
    if (context.json) {
        return printJson({{"schema", 1},
                          {"library", panelkit::version()},
                          {"protocol", panelkit::protocolVersion()},
                          {"service", reached ? session->service() : ""},
                          {"problem", reached ? "" : failureText(bridge::lastFailure())}});
    }
    printLine(phrase(Say::versionLibrary, {panelkit::version()}));
    printLine(phrase(Say::versionProtocol, {std::to_string(panelkit::protocolVersion())}));
    if (reached) {
        printLine(phrase(Say::versionService, {session->service()}));
    } else {
        printLine(phrase(Say::versionNoService, {failureText(bridge::lastFailure())}));
    }
}

void fill(CLI::App& app, std::span<const Group> groups, GlobalOptions& options, Context& context) {
    app.formatter(std::make_shared<HelpFormatter>());
    app.footer(text(Say::epilogue));
    addGlobalOptions(app, options, context);
    app.parse_complete_callback([&options] { applyGlobalOptions(options); });
    for (const Group& group : groups) {
        CLI::App* const made = app.add_subcommand(group.name, text(group.description));
        made->require_subcommand(1);
        group.addVerbs(*made, context);
    }
}

void printHelp(const CLI::App& app) {
    std::string help = app.help();
    help.erase(help.find_last_not_of('\n') + 1);
    printLine(help);
}

// The arguments are taken, and their order is lost.
void perform(CLI::App& app, std::vector<std::string>& arguments, const GlobalOptions& options, const Context& context) {
    const std::string first = arguments.empty() ? "" : arguments.front();
    if (first == completionRequest) return printCandidates(app, std::span(arguments).subspan(1));
    if (first == manualRequest) return printRaw(manual(app));
    std::reverse(arguments.begin(), arguments.end()); // the parser takes them from the back
    try {
        app.parse(arguments);
    } catch (const CLI::CallForHelp&) {
        return printHelp(deepest(app));
    }
    if (options.version) {
        printVersions(context);
    } else if (app.get_subcommands().empty()) {
        printHelp(app);
    }
}

int report(Exit code, const std::string& text) {
    printNote(phrase(Say::errorPrefix, {text}));
    return static_cast<int>(code);
}

int report(const CommandError& error) {
    std::string lines = escaped(error.what());
    for (const std::string& line : error.below) lines += "\n" + escaped(line);
    return report(error.code, lines);
}

} // namespace

int runCommandLine(std::vector<std::string> arguments, std::span<const Group> groups) {
    const bool completes = !arguments.empty() && arguments.front() == completionRequest;
    for (const std::string& problem : chooseLanguage(arguments).problems) {
        if (!completes) report(Exit::ok, phrase(Say::catalogueProblem, {escaped(problem)}));
    }
    GlobalOptions options;
    Context context;
    CLI::App app(text(Say::about), "panelctl");
    fill(app, groups, options, context);
    try {
        perform(app, arguments, options, context);
        flushOutput(); // a full disk is noticed here at the latest
        return static_cast<int>(Exit::ok);
    } catch (const CLI::ParseError& error) {
        return report(Exit::usage, explain(app, error));
    } catch (const CommandError& error) {
        return report(error);
    } catch (const char* /* the stream's error */) {
        return report(Exit::connectionLost, text(Say::badReply));
    } catch (const std::exception& error) {
        return report(Exit::failed, escaped(error.what()));
    }
}

} // namespace panelctl
