// SPDX-License-Identifier: MIT
#include <panelctl/base/help.h>

#include <panelctl/base/say.h>

#include <array>

namespace panelctl {

namespace {

struct Row {
    const char* key; // the parser's name for it
    Label text;
};

// clang-format off
constexpr std::array labels = {
    Row{"Usage",       N_("Usage")},
    Row{"OPTIONS",     N_("OPTIONS")},
    Row{"SUBCOMMAND",  N_("VERB")},
    Row{"Positionals", N_("Arguments")},
    Row{"Options",     N_("Options")},
    Row{"Subcommands", N_("Verbs")},
    Row{"REQUIRED",    N_("(required)")},
    Row{"TEXT",        N_("TEXT")},
    Row{"INT",         N_("NUMBER")},
    Row{"UINT",        N_("NUMBER")},
    Row{"FLOAT",       N_("NUMBER")},
};
// clang-format on

} // namespace

std::string commandOf(const CLI::App& app) {
    return app.get_parent() ? commandOf(*app.get_parent()) + " " + app.get_name() : app.get_name();
}

HelpFormatter::HelpFormatter() {
    for (const Row& row : labels) label(row.key, say(row.text));
}

std::string HelpFormatter::make_group(std::string group, bool isPositional,
                                      std::vector<const CLI::Option*> options) const {
    return Formatter::make_group(get_label(std::move(group)), isPositional, std::move(options));
}

// Without the number of verbs that are required: the usage line shows it.
std::string HelpFormatter::make_description(const CLI::App* app) const { return app->get_description() + '\n'; }

std::string HelpFormatter::make_usage(const CLI::App* app, std::string) const {
    return Formatter::make_usage(app, commandOf(*app));
}

// Only for the program itself.
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
