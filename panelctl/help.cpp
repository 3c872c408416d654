// SPDX-License-Identifier: MIT
#include <panelctl/help.h>

#include <panelctl/texts.h>

#include <array>

namespace panelctl {

namespace {

struct Label {
    const char* key; // what the parser calls it
    Say text;
};

constexpr std::array labels = {
    Label{"Usage", Say::helpUsage},          Label{"OPTIONS", Say::helpOptionsBadge},
    Label{"SUBCOMMAND", Say::helpVerbBadge}, Label{"Positionals", Say::helpArguments},
    Label{"Options", Say::helpOptions},      Label{"Subcommands", Say::helpVerbs},
    Label{"REQUIRED", Say::helpRequired},    Label{"TEXT", Say::valueText},
    Label{"INT", Say::valueNumber},          Label{"UINT", Say::valueNumber},
    Label{"FLOAT", Say::valueNumber},
};

} // namespace

std::string commandOf(const CLI::App& app) {
    return app.get_parent() ? commandOf(*app.get_parent()) + " " + app.get_name() : app.get_name();
}

HelpFormatter::HelpFormatter() {
    for (const Label& row : labels) label(row.key, text(row.text));
}

std::string HelpFormatter::make_group(std::string group, bool isPositional,
                                      std::vector<const CLI::Option*> options) const {
    return Formatter::make_group(get_label(std::move(group)), isPositional, std::move(options));
}

// Without the count of verbs that are needed: the line of usage shows it.
std::string HelpFormatter::make_description(const CLI::App* app) const { return app->get_description() + '\n'; }

std::string HelpFormatter::make_usage(const CLI::App* app, std::string) const {
    return Formatter::make_usage(app, commandOf(*app));
}

// Of the program alone.
std::string HelpFormatter::make_footer(const CLI::App* app) const {
    return app->get_parent() ? "" : Formatter::make_footer(app);
}

std::string HelpFormatter::make_subcommands(const CLI::App* app, CLI::AppFormatMode) const {
    std::string lines;
    for (const CLI::App* verb : app->get_subcommands([](const CLI::App*) { return true; })) {
        if (!verb->get_group().empty()) lines += make_subcommand(verb);
    }
    return lines.empty() ? lines : '\n' + get_label("Subcommands") + ":\n" + lines;
}

} // namespace panelctl
