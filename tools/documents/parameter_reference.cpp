// SPDX-License-Identifier: MIT
//
// The parameter reference in Markdown: every section as a table, then every variant table.
#include <tools/documents/documents.h>

#include <panelkit/lparams/param_kind.h>
#include <panelkit/lparams/sections/sections.h>
#include <platform/text/ascii.h>
#include <vocabulary/parameters.h>

#include <algorithm>
#include <string_view>

namespace documents {

namespace {

using namespace LPARAMS::Client;
using LPARAMS::Variant;

constexpr const char* introduction = R"(# Parameters

<!-- Made by panelkit_documents from the library's model; do not edit. -->

The sections of the service's configuration, with their parameters in the order of the wire format, which is also the
order of display. Names are written `SECTION.KEY`. Labels and helps are not translated here. If a text names other bounds
than the column *Legal*, the bounds in the column are enforced.

A choice is entered as its text in the current language or as `=NUMBER`; files have its number and its symbolic name. A
parameter marked *secret* is read without echo and masked wherever it is printed.

The column *Effect* says whether panelkitd acts on a parameter, and where: in the service itself, or in the IKE daemon of
its engine `charon` ([engine.md](engine.md)), with the option of the daemon. A parameter whose effect is "none" is stored
and returned, and nothing more; so are those of `charon` while the engine is `record`. The library itself acts on none. A
changed value counts after the commit. When a change starts the IKE daemon again, or sets the tunnels up again, what they
protect is dropped in the meantime. In a daemon that panelkitd has not started (`--charon-socket`), parameters whose change
starts it again or counts for later tunnels have no effect.
)";

// A text in a cell of a table.
std::string cell(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '|' || c == '<' || c == '*' || c == '_' || c == '`') escaped += '\\';
        escaped += c == '\n' ? "<br>" : std::string(1, c);
    }
    return escaped;
}

std::string code(const std::string& text) { return text.empty() ? "" : '`' + text + '`'; }

const char* tableName(const Variant* rows) {
    const auto tables = panelkit::variantTables();
    return std::find_if(tables.begin(), tables.end(), [&](const auto& table) { return table.rows == rows; })->name;
}

std::string legal(const Param& param) {
    const Variant* const choices = panelkit::kindOf(param).choices(param);
    if (!choices) return cell(panelkit::legalValues(param));
    const std::string name = tableName(choices);
    std::string anchor = name; // headings are linked to in lower case
    std::transform(anchor.begin(), anchor.end(), anchor.begin(), platform::asciiLower);
    return '[' + code(name) + "](#" + anchor + ')';
}

std::string effect(const std::string& name) {
    using enum vocabulary::ParameterUser;
    const vocabulary::ParameterEffect* const row = vocabulary::parameterEffect(name);
    if (!row) return "none";
    const std::string text = ": " + cell(row->effect.text()) + " " + vocabulary::textOf(row->moment).text();
    const std::string daemon = "`charon` (" + code(row->option) + ")";
    return (row->user == service ? "service" : row->user == charon ? daemon : "service and " + daemon) + text;
}

std::string row(const ParamGroup& group, const Param& param) {
    const bool secret = panelkit::isSecret(group.name, param.key);
    return "| `" + std::string(param.key) + "` | " + panelkit::kindOf(param).name + (secret ? ", *secret*" : "") +
           " | " + code(panelkit::printDefault(param)) + " | " + legal(param) + " | " + cell(param.label) + " | " +
           (&param.label == &param.help ? "" : cell(param.help)) + " | " +
           effect(std::string(group.name) + '.' + param.key) + " |\n";
}

std::string section(const ParamGroup& group) {
    std::string text = "\n## " + std::string(group.name) + "\n\n" +
                       "| Key | Kind | Default | Legal | Label | Help | Effect |\n|---|---|---|---|---|---|---|\n";
    for (const Param* param : group.params) text += row(group, *param);
    for (const Constraint* constraint : group.constraints) {
        text += "\nChecked before saving: " + cell(constraint->message) + '\n';
    }
    return text;
}

std::string variants(const panelkit::VariantTable& table) {
    std::string text = "\n### " + std::string(table.name) + "\n\n| Number | Choice | Symbolic name |\n|---|---|---|\n";
    for (const Variant* row = table.rows; row->text; ++row) {
        text += "| " + std::to_string(row->value) + " | " + cell(*row->text) + " | " +
                code(row->name ? row->name : "") + " |\n";
    }
    return text;
}

} // namespace

std::string parameterReference() {
    std::string text = introduction;
    for (const auto& group : panelkit::allGroups()) text += section(*group);
    text += "\n## Choices\n";
    for (const panelkit::VariantTable& table : panelkit::variantTables()) text += variants(table);
    return text;
}

} // namespace documents
