// SPDX-License-Identifier: MIT
//
// The template of translations. An entry of the table stands under its name as context; registered texts follow
// without one. The comment of each says where it is shown.
#include <tools/documents/documents.h>

#include <panelkit/loc/default_texts.h>
#include <panelkit/loc/registered_texts.h>
#include <panelkit/lparams/sections.h>

#include <chrono>
#include <iomanip>
#include <map>
#include <sstream>
#include <string_view>
#include <vector>

namespace documents {

namespace {

// As gettext writes dates; the template changes only when the table does.
std::string creationDate() {
    const std::chrono::sys_seconds time{std::chrono::seconds(panelkit::defaultTextStamp)};
    const auto days = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(days);
    const std::chrono::hh_mm_ss clock(time - days);
    std::ostringstream text;
    text << std::setfill('0') << int(date.year()) << '-' << std::setw(2) << unsigned(date.month()) << '-'
         << std::setw(2) << unsigned(date.day()) << ' ' << std::setw(2) << clock.hours().count() << ':' << std::setw(2)
         << clock.minutes().count() << "+0000";
    return text.str();
}

// What the loader looks at are the lines that begin with X; platform/loccore/catalogue.h tells their meaning.
std::string header() {
    return R"(# Texts of panelkit. Made by panelkit_documents; translations are merged with msgmerge.
# Blanks and line feeds that begin or end a text, and everything with a %, must be kept.
#, fuzzy
msgid ""
msgstr ""
"Project-Id-Version: panelkit\n"
"POT-Creation-Date: )" +
           creationDate() + R"(\n"
"PO-Revision-Date: YEAR-MO-DA HO:MI+ZONE\n"
"Last-Translator: FULL NAME <EMAIL@ADDRESS>\n"
"Language-Team: LANGUAGE\n"
"Language: \n"
"MIME-Version: 1.0\n"
"Content-Type: text/plain; charset=UTF-8\n"
"Content-Transfer-Encoding: 8bit\n"
"X-Module: panelkit\n"
"X-Table-Stamp: )" +
           std::to_string(panelkit::defaultTextStamp) + R"(\n"
"X-Table-Texts: )" +
           std::to_string(panelkit::defaultTextCount) + R"(\n"
"X-Seal: cksum\n"
)";
}

using Uses = std::map<const char* const*, std::vector<std::string>>;

// Where each cell is shown: labels, helps and choices. What remains are texts of the policy, or of sections that other
// programs have.
Uses findUses(const panelkit::AllGroups& groups) {
    Uses uses;
    for (const auto& group : groups) {
        for (const LPARAMS::Client::Param* param : group->params) {
            const std::string name = std::string(group->name) + '.' + param->key;
            uses[&param->label].push_back(&param->label == &param->help ? "label and help of " + name
                                                                        : "label of " + name);
            if (&param->label != &param->help) uses[&param->help].push_back("help of " + name);
        }
    }
    for (const panelkit::VariantTable& table : panelkit::variantTables()) {
        for (const LPARAMS::Variant* row = table.rows; row->text; ++row) {
            uses[row->text].push_back(std::string(table.name) + ", choice " + std::to_string(row->value));
        }
    }
    return uses;
}

// A text as a PO string: its lines apart when it has several.
std::string inQuotes(std::string_view text) {
    std::string lines = text.find('\n') < text.size() - 1 ? "\"\"\n\"" : "\"";
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '"' || text[i] == '\\') lines += '\\';
        if (text[i] != '\n') {
            lines += text[i];
        } else {
            lines += i + 1 < text.size() ? "\\n\"\n\"" : "\\n";
        }
    }
    return lines + '"';
}

std::string entry(const std::vector<std::string>& uses, const char* context, std::string_view wording) {
    std::string text = "\n";
    for (const std::string& use : uses) text += "#. " + use + '\n';
    if (wording.find("%s") != std::string_view::npos || wording.find("%u") != std::string_view::npos) {
        text += "#, c-format\n";
    } else if (wording.find('%') != std::string_view::npos) {
        text += "#, no-c-format\n";
    }
    if (context) text += "msgctxt \"" + std::string(context) + "\"\n";
    return text + "msgid " + inQuotes(wording) + "\nmsgstr \"\"\n";
}

} // namespace

std::string translationTemplate() {
    const panelkit::AllGroups groups;
    Uses uses = findUses(groups);
    std::string text = header();
    for (const panelkit::DefaultText& row : panelkit::defaultTexts()) {
        if (*row.wording) text += entry(uses[&panelkit::text(row.text)], row.name, row.wording);
    }
    for (const panelkit::RegisteredText& registered : panelkit::registeredTexts()) {
        std::vector<std::string> where;
        for (const auto& [cell, names] : uses) {
            if (std::string_view(*cell) == registered.wording) where.insert(where.end(), names.begin(), names.end());
        }
        if (where.empty()) where.emplace_back(registered.why);
        text += entry(where, nullptr, registered.wording);
    }
    return text;
}

} // namespace documents
