// SPDX-License-Identifier: MIT
#include <panelctl/command_line.h>

#include <panelctl/display_width.h>
#include <panelctl/exit_codes.h>
#include <panelctl/nearest.h>
#include <panelctl/output.h>
#include <panelctl/terminal.h>
#include <panelctl/verbs.h>

#include <panelkit/bridge/sessions_pool.h>
#include <panelkit/version.h>
#include <platform/bridge/bridge_session.h>
#include <platform/bridge/command_sender.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdlib>
#include <optional>

namespace panelctl {

namespace {

struct GlobalOptions {
    std::string endpoint;
    std::optional<double> timeout; // seconds
    bool noColour = false;
    bool version = false;
};

void addGlobalOptions(CLI::App& app, GlobalOptions& options, Context& context) {
    app.fallthrough(); // they are taken behind the verb too
    app.option_defaults()->take_last();
    app.add_option("--endpoint", options.endpoint, text(Say::optionEndpoint))->type_name("PATH");
    app.add_flag("--json", context.json, text(Say::optionJson));
    app.add_option("--timeout", options.timeout, text(Say::optionTimeout))
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, 86400.0));
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

void printVersions() {
    BridgeSession* const session = SessionsPool::GetSession(SessionParameters);
    printLine(phrase(Say::versionLibrary, {panelkit::version()}));
    printLine(phrase(Say::versionProtocol, {std::to_string(panelkit::protocolVersion())}));
    if (session && session->Connect()) {
        printLine(phrase(Say::versionService, {session->service()}));
    } else {
        printLine(phrase(Say::versionNoService, {bridge::lastFailure().text}));
    }
}

// The group or verb that the command line got to.
const CLI::App& deepest(const CLI::App& app) {
    const auto parsed = app.get_subcommands();
    return parsed.empty() ? app : deepest(*parsed.front());
}

// The names that could have stood where `word` stands.
std::vector<std::string> namesFor(const CLI::App& app, const std::string& word) {
    std::vector<std::string> names;
    if (word.rfind('-', 0) == 0) {
        for (const CLI::App* at = &app; at; at = at->get_parent()) {
            for (const CLI::Option* option : at->get_options()) {
                for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
            }
        }
    } else {
        for (const CLI::App* verb : app.get_subcommands([](const CLI::App*) { return true; })) {
            names.push_back(verb->get_name());
        }
    }
    return names;
}

std::string commandOf(const CLI::App& app) {
    return app.get_parent() ? commandOf(*app.get_parent()) + " " + app.get_name() : app.get_name();
}

std::string joined(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
    return text;
}

// The mistake in one line, with what was probably meant or where to read more.
std::string explain(const CLI::App& app, const CLI::ParseError& error) {
    const CLI::App& at = deepest(app);
    const std::vector<std::string> verbs = namesFor(at, "");
    const std::vector<std::string> extras = app.remaining(true);
    std::string what = error.what();
    if (!extras.empty()) {
        what = phrase(Say::unknownWord, {escaped(extras.front())});
        const std::string meant = nearest(extras.front(), namesFor(at, extras.front()));
        if (!meant.empty()) return what + "; " + phrase(Say::didYouMean, {meant});
        if (!verbs.empty()) return what + "; " + phrase(Say::verbsAre, {commandOf(at), joined(verbs)});
    } else if (dynamic_cast<const CLI::RequiredError*>(&error) && !verbs.empty()) {
        return phrase(Say::verbMissing, {commandOf(at), joined(verbs)});
    }
    return what + "; " + phrase(Say::tryHelp, {commandOf(at)});
}

int report(Exit code, const std::string& text) {
    printNote(phrase(Say::errorPrefix, {text}));
    return static_cast<int>(code);
}

} // namespace

int runCommandLine(std::vector<std::string> arguments, std::span<const Group> groups) {
    GlobalOptions options;
    Context context;
    CLI::App app(text(Say::about), "panelctl");
    app.footer(text(Say::epilogue));
    addGlobalOptions(app, options, context);
    app.parse_complete_callback([&] { applyGlobalOptions(options); });
    for (const Group& group : groups) {
        CLI::App* const made = app.add_subcommand(group.name, text(group.description));
        made->require_subcommand(1);
        group.addVerbs(*made, context);
    }
    try {
        std::reverse(arguments.begin(), arguments.end()); // the parser takes them from the back
        app.parse(arguments);
        if (options.version) {
            printVersions();
        } else if (app.get_subcommands().empty()) {
            printLine(app.help());
        }
        return static_cast<int>(Exit::ok);
    } catch (const CLI::CallForHelp&) {
        printLine(deepest(app).help());
        return static_cast<int>(Exit::ok);
    } catch (const CLI::ParseError& error) {
        return report(Exit::usage, explain(app, error));
    } catch (const CommandError& error) {
        std::string lines = escaped(error.what());
        for (const std::string& line : error.below) lines += "\n" + escaped(line);
        return report(error.code, lines);
    } catch (const char* /* the stream's error */) {
        return report(Exit::connectionLost, text(Say::badReply));
    } catch (const std::exception& error) {
        return report(Exit::failed, escaped(error.what()));
    }
}

} // namespace panelctl
