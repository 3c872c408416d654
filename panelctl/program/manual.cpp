// SPDX-License-Identifier: MIT
#include <panelctl/program/manual.h>

#include <panelctl/base/exit_codes.h>
#include <panelctl/base/help.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <string_view>

namespace panelctl {

namespace {

// Escapes text for the formatter: nothing in it is a command, and dashes are those that are typed.
std::string plain(std::string_view text) {
    std::string escaped = text.starts_with('.') || text.starts_with('\'') ? "\\&" : "";
    for (const char c : text) {
        if (c == '\\') {
            escaped += "\\e";
        } else if (c == '-') {
            escaped += "\\-";
        } else {
            escaped += c;
        }
    }
    return escaped;
}

std::string bold(std::string_view text) { return "\\fB" + plain(text) + "\\fR"; }
std::string slanted(std::string_view text) { return "\\fI" + plain(text) + "\\fR"; }

std::string entry(const std::string& term, std::string_view description) {
    return ".TP\n" + term + "\n" + plain(description) + "\n";
}

// Groups and verbs that are shown.
std::vector<const CLI::App*> verbsOf(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App* verb) { return !verb->get_group().empty(); });
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& app, bool positional) {
    return app.get_options([=](const CLI::Option* option) {
        return !option->get_group().empty() && option->get_positional() == positional && !option->check_lname("help");
    });
}

// "[TOKEN]" or "PARAMETER..."
std::string argument(const CLI::Option& option) {
    std::string name = slanted(option.get_single_name());
    if (option.get_items_expected_max() > 1) name += "...";
    return option.get_required() ? name : '[' + name + ']';
}

std::string option(const CLI::Option& option) {
    const bool takesValue = option.get_items_expected_max() > 0;
    return bold(option.get_name(false, true)) + (takesValue ? ' ' + slanted(option.get_type_name()) : "");
}

std::string optionEntries(const CLI::App& app) {
    std::string text;
    for (const CLI::Option* one : optionsOf(app, true)) text += entry(argument(*one), one->get_description());
    for (const CLI::Option* one : optionsOf(app, false)) text += entry(option(*one), one->get_description());
    return text.empty() ? text : ".RS\n" + text + ".RE\n";
}

// A verb with its arguments and options, or a group within a group with its verbs.
std::string verb(const CLI::App& app) {
    std::string term = bold(commandOf(app));
    for (const CLI::Option* one : optionsOf(app, true)) term += ' ' + argument(*one);
    std::string text = entry(term, app.get_description()) + optionEntries(app);
    for (const CLI::App* inner : verbsOf(app)) text += verb(*inner);
    return text;
}

std::string group(const CLI::App& app) {
    std::string name = app.get_name();
    std::transform(name.begin(), name.end(), name.begin(), [](char c) { return static_cast<char>(c - 'a' + 'A'); });
    const auto verbs = verbsOf(app);
    std::string text = ".SH " + name + "\n" + plain(app.get_description()) + ".\n";
    if (verbs.empty()) return text + optionEntries(app);
    for (const CLI::App* one : verbs) text += verb(*one);
    return text;
}

// Numbers, the names that --json has, and what they mean.
std::string exitCodes() {
    std::string text =
        ".SH EXIT STATUS\nScripts may depend on the numbers; none changes its meaning. With \\fB\\-\\-json\\fR "
        "an error is an object on standard error, with number and name.\n.TS\nl l l.\n";
    for (std::size_t i = 0; i < exitRowCount; ++i) {
        const auto& [code, name, meaning] = exitRows[i];
        text += std::to_string(static_cast<int>(code)) + '\t' + plain(name) + "\tT{\n" + plain(meaning) + "\nT}\n";
    }
    return text + ".TE\n";
}

constexpr const char* surroundings = R"(.SH ENVIRONMENT
.TP
\fBPANELKIT_BRIDGE\fR
Socket (named pipe) of the service, unless \fB\-\-endpoint\fR names one.
.TP
\fBPANELKIT_TRANSCRIPT\fR
A file, for this account only, to which each command to the service and its reply are added, field by field and without
secrets. \fBpanelctl transcript\fR prints it.
.TP
\fBNO_COLOR\fR
When it is set, no colours are used.
.TP
\fBLC_ALL\fR, \fBLC_MESSAGES\fR, \fBLANG\fR
The language of the texts, unless \fB\-\-lang\fR says another.
.SH NOTES
The result goes to standard output, everything else to standard error. PINs, passwords and keys are never taken from
arguments, which every user of the host can read: they come from a prompt, standard input, a descriptor or a file.
Several secrets on standard input are lines: the password of a file before a PIN, the SO PIN before the PIN, and the
present PIN before the new one.
.PP
A list that leaves out what needs a log\-in to a token says so on standard error.
With \fB\-\-json\fR standard error has one JSON object in each line.
.SH FILES
.TP
\fI/run/panelkit/bridge.sock\fR
The socket of the system's service.
.TP
\fI~/.config/panelkit\fR
The user's own settings for the source of the policy.
.SH EXAMPLES
.nf
panelctl status
panelctl token init \-\-label Office
panelctl token login Office
panelctl cert import gate.p12 \-\-token Office
panelctl cert request \-\-cn gate.example \-\-output gate.csr
panelctl cert list \-\-expiring 30d \-\-json
panelctl config set IKE.DPD_IDLE_TIME 90 \-\-commit
panelctl \-\-lang ru doctor
.fi
.SH SEE ALSO
.BR panelkitd (8),
.BR openssl (1),
.BR pkcs11\-tool (1)
)";

} // namespace

std::string manual(const CLI::App& program) {
    std::string text =
        "'\\\" t\n.\\\" Made by panelctl \\-\\-manual; do not edit.\n"
        ".TH PANELCTL 1 \"\" \"panelkit\" \"User Commands\"\n"
        ".SH NAME\npanelctl \\- administers the VPN service on this host\n"
        ".SH SYNOPSIS\n\\fBpanelctl\\fR [\\fIOPTIONS\\fR] \\fIGROUP\\fR \\fIVERB\\fR [\\fIARGUMENTS\\fR]\n"
        ".SH DESCRIPTION\n";
    text += plain(program.get_description()) + "\n.SH OPTIONS\nThey are accepted before and after the verb.\n";
    for (const CLI::Option* one : optionsOf(program, false)) text += entry(option(*one), one->get_description());
    for (const CLI::App* one : verbsOf(program)) text += group(*one);
    return text + exitCodes() + surroundings;
}

} // namespace panelctl
