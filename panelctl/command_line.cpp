// SPDX-License-Identifier: MIT
#include <panelctl/command_line.h>

#include <panelctl/base/exit_codes.h>
#include <panelctl/base/failure_text.h>
#include <panelctl/base/help.h>
#include <panelctl/base/language.h>
#include <panelctl/base/mistakes.h>
#include <panelctl/base/output.h>
#include <panelctl/base/system.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/base/unseen.h>
#include <panelctl/base/verbs.h>
#include <panelctl/program/completion.h>
#include <panelctl/program/manual.h>

#include <panelkit/bridge/sessions_pool.h>
#include <panelkit/version.h>
#include <platform/bridge/bridge_session.h>
#include <platform/bridge/call_limits.h>
#include <platform/bridge/command_sender.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <optional>
#include <utility>

namespace panelctl {

namespace {

struct GlobalOptions {
    std::string endpoint;
    std::optional<double> timeout, timeLimit; // seconds
    std::string language;                     // was chosen before, since the texts of the options are in it
    bool noColour = false;
    bool version = false;
    bool strict = false;
    std::vector<std::string> helpFor; // of the verb "help"
};

void addGlobalOptions(CLI::App& app, GlobalOptions& options, Context& context) {
    app.fallthrough();            // global options are also accepted after the verb
    app.require_subcommand(0, 1); // a later word is never read as another group: "help cert delete" deletes nothing
    app.set_help_flag("-h,--help", say("Print this help"));
    app.option_defaults()->take_last();
    app.add_option("--endpoint", options.endpoint,
                   say("Socket (named pipe) of the service (default: PANELKIT_BRIDGE, or else the system's service)"))
        ->type_name("PATH");
    app.add_flag("--json", context.json, say("Print the result as JSON"));
    app.add_option("--timeout", options.timeout, say("Seconds to wait while the service is silent (0: no limit)"))
        ->type_name("SECONDS")
        ->check(numberBetween(0, 86400));
    app.add_option("--time-limit", options.timeLimit,
                   say("Seconds for the whole run, also while the service says that it is at work (default: no limit)"))
        ->type_name("SECONDS")
        ->check(numberBetween(0, 86400));
    app.add_option("--lang", options.language,
                   say("Language of the texts, \"en\" or \"ru\" (default: that of the system)"))
        ->type_name("LANGUAGE");
    app.add_flag("--no-color", options.noColour, say("Do not use colours"));
    app.add_flag("--strict", options.strict,
                 say("Exit with code 14 also when a list lacks only what needs a log-in to a token"));
    app.add_flag("--version", options.version, say("Print the versions of the library, the protocol and the service"));
}

std::chrono::milliseconds milliseconds(double seconds) {
    return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
}

// Called before the verb runs. `limits` are for the rest of the run.
void applyGlobalOptions(const GlobalOptions& options, std::optional<bridge::CallLimits>& limits) {
    setColours(!options.noColour && !std::getenv("NO_COLOR") && coloursWork());
    setStrict(options.strict);
    CommandSender& sender = CommandSender::Instance();
    if (!options.endpoint.empty()) sender.SetEndpoint(options.endpoint);
    if (options.timeLimit) limits.emplace(milliseconds(*options.timeLimit));
    if (options.timeout) sender.SetWait(static_cast<std::uint32_t>(milliseconds(*options.timeout).count()));
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
    printLine(say("library   %s", panelkit::version()));
    printLine(say("protocol  %d", panelkit::protocolVersion()));
    if (reached) {
        printLine(say("service   %s", session->service()));
    } else {
        printLine(say("service   %s", '(' + failureText(bridge::lastFailure()) + ')'));
    }
}

bool contains(const std::vector<std::string>& arguments, const char* word) {
    return std::find(arguments.begin(), arguments.end(), word) != arguments.end();
}

// What a command line begins with: up to two words, and global options between them.
struct Beginning {
    std::vector<std::string> words;
    bool asksVersion = false; // and has no word
};

// Stops at an option that is not global, and at --help.
Beginning beginningOf(const CLI::App& app, const std::vector<std::string>& arguments) {
    Beginning found;
    for (std::size_t i = 0; i < arguments.size() && found.words.size() < 2; ++i) {
        const std::string& argument = arguments[i];
        if (!argument.starts_with('-')) {
            found.words.push_back(argument);
            continue;
        }
        const std::size_t equals = argument.find('=');
        const CLI::Option* const option = app.get_option_no_throw(argument.substr(0, equals));
        if (!option || option == app.get_help_ptr()) return found;
        if (equals == std::string::npos && takesValue(*option)) ++i;
    }
    found.asksVersion = found.words.empty() && contains(arguments, "--version");
    return found;
}

CLI::App* addGroup(CLI::App& app, const Group& group) {
    CLI::App* const made = app.add_subcommand(group.name, say(group.description));
    made->require_subcommand(1);
    return made;
}

CLI::App* addGroup(CLI::App& app, const Group& group, const Context& context) {
    CLI::App* const made = addGroup(app, group);
    group.addVerbs(*made, context);
    return made;
}

bool hasVerb(const CLI::App& group, const std::string& name) {
    return !group.get_subcommands([&](const CLI::App* verb) { return verb->get_name() == name; }).empty();
}

// Adds the group that a command line begins with. If a verb of it follows, that is its only verb. Returns false if it
// begins with something else.
bool addNamedGroup(CLI::App& app, std::span<const Group> groups, Context& context,
                   const std::vector<std::string>& words) {
    const auto group = std::find_if(groups.begin(), groups.end(),
                                    [&](const Group& one) { return !words.empty() && one.name == words.front(); });
    if (group == groups.end()) return false;
    if (words.size() > 1) {
        context.group = words[0];
        context.verb = words[1];
    }
    CLI::App* const made = addGroup(app, *group, context);
    if (context.verb.empty() || hasVerb(*made, context.verb)) return true;
    app.remove_subcommand(made);
    context.verb.clear();
    addGroup(app, *group, context);
    return true;
}

// Adds the groups. Making all of them with all verbs would take most of the time of a short run, so the command line is
// looked at first. Nothing is left out that its mistakes, or a request for help, may need.
void addGroups(CLI::App& app, std::span<const Group> groups, Context& context,
               const std::vector<std::string>& arguments) {
    const Beginning beginning = beginningOf(app, arguments);
    if (beginning.asksVersion || addNamedGroup(app, groups, context, beginning.words)) return;
    const bool all = contains(arguments, completionRequest) || contains(arguments, manualRequest);
    for (const Group& group : groups) {
        if (all || contains(arguments, group.name)) {
            addGroup(app, group, context);
        } else {
            addGroup(app, group);
        }
    }
}

void fill(CLI::App& app, std::span<const Group> groups, GlobalOptions& options, Context& context,
          std::optional<bridge::CallLimits>& limits, const std::vector<std::string>& arguments) {
    app.formatter(std::make_shared<HelpFormatter>());
    app.footer(say("'panelctl GROUP --help' lists the verbs of a group, 'panelctl GROUP VERB --help' the options of a "
                   "verb. Global options are accepted before and after the verb."));
    addGlobalOptions(app, options, context);
    app.parse_complete_callback([&] { applyGlobalOptions(options, limits); });
    app.add_subcommand("help", say("Print the help of the program, a group or a verb"))
        ->add_option("words", options.helpFor, say("A group, or a group and a verb"))
        ->required(false);
    app.add_subcommand("version", say("Print the versions of the library, the protocol and the service"));
    addGroups(app, groups, context, arguments);
}

// Not app.help(), which for the program prints the help of the verb that was given.
void printHelp(const CLI::App& app) {
    std::string help = app.get_formatter()->make_help(&app, app.get_name(), CLI::AppFormatMode::Normal);
    help.erase(help.find_last_not_of('\n') + 1);
    printLine(help);
}

// Throws CommandError for words that name nothing.
void printHelpFor(const CLI::App& app, const std::vector<std::string>& words) {
    const CLI::App* at = &app;
    for (const std::string& word : words) {
        const auto named = at->get_subcommands([&](const CLI::App* inner) { return inner->get_name() == word; });
        if (named.empty()) throw CommandError(Exit::usage, say("\"%s\" is not understood", word));
        at = named.front();
    }
    printHelp(*at);
}

// Reverses the arguments.
void perform(CLI::App& app, std::vector<std::string>& arguments, const GlobalOptions& options, const Context& context) {
    const std::string first = arguments.empty() ? "" : arguments.front();
    if (first == completionRequest) return printCandidates(app, std::span(arguments).subspan(1));
    if (first == manualRequest) return printRaw(manual(app));
    std::reverse(arguments.begin(), arguments.end()); // the parser expects them in this order
    try {
        app.parse(arguments);
    } catch (const CLI::CallForHelp&) {
        return printHelp(deepest(app));
    }
    if (options.version || app.got_subcommand("version")) {
        printVersions(context);
    } else if (app.got_subcommand("help")) {
        printHelpFor(app, options.helpFor);
    } else if (app.get_subcommands().empty()) {
        printHelp(app);
    }
}

// The words of the verb, such as "cert delete".
std::string placeOf(const CLI::App& app) {
    std::string place;
    for (const CLI::App* at = &deepest(app); at->get_parent(); at = at->get_parent()) {
        place = at->get_name() + (place.empty() ? "" : " ") + place;
    }
    return place;
}

int report(const CLI::App& app, const CommandError& error) {
    printError(error, placeOf(app));
    return static_cast<int>(error.code);
}

// Known before the command line is parsed, for its mistakes.
bool asksForJson(const std::vector<std::string>& arguments) {
    const auto end = std::find(arguments.begin(), arguments.end(), "--");
    return std::find(arguments.begin(), end, "--json") != end;
}

} // namespace

int runCommandLine(std::vector<std::string> arguments, std::span<const Group> groups) {
    setJsonNotes(asksForJson(arguments));
    const bool completes = !arguments.empty() && arguments.front() == completionRequest;
    for (const std::string& problem : chooseLanguage(arguments).problems) {
        if (!completes) printNote("panelctl: " + say("some texts stay in English: %s", escaped(problem)));
    }
    GlobalOptions options;
    Context context;
    CLI::App app(say("Administers the VPN service on this host: its tokens, certificates, configuration and policy."),
                 "panelctl");
    std::optional<bridge::CallLimits> limits;
    fill(app, groups, options, context, limits, arguments);
    const std::string lastArgument = arguments.empty() ? "" : arguments.back();
    try {
        perform(app, arguments, options, context);
        flushOutput(); // a full disk is noticed here if not before
        return static_cast<int>(Exit::ok);
    } catch (const CLI::ParseError& error) {
        return report(app, {Exit::usage, explain(app, error, lastArgument)});
    } catch (const CommandError& error) {
        return report(app, error);
    } catch (const char* /* the stream's error */) {
        return report(app, {Exit::connectionLost, incompleteReplyText()});
    } catch (const std::exception& error) {
        return report(app, {Exit::failed, error.what()});
    }
}

} // namespace panelctl
