// SPDX-License-Identifier: MIT
#include <tools/documents/po_text.h>

#include <chrono>
#include <iomanip>
#include <sstream>

namespace documents::po {

namespace {

// A date in gettext's form. It comes from the table, so that the template changes only when the table does.
std::string creationDate(std::uint64_t stamp) {
    const std::chrono::sys_seconds time{std::chrono::seconds(stamp)};
    const auto days = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(days);
    const std::chrono::hh_mm_ss clock(time - days);
    std::ostringstream text;
    text << std::setfill('0') << int(date.year()) << '-' << std::setw(2) << unsigned(date.month()) << '-'
         << std::setw(2) << unsigned(date.day()) << ' ' << std::setw(2) << clock.hours().count() << ':' << std::setw(2)
         << clock.minutes().count() << "+0000";
    return text.str();
}

// A text as a PO string; each of several lines is a string of its own.
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

} // namespace

// The loader uses the lines that begin with X; platform/loccore/catalogue.h describes them.
std::string header(const Table& table) {
    return "# Texts of " + table.module + R"(. Made by panelkit_documents; translations are merged with msgmerge.
# Blanks and line feeds that begin or end a text, and everything with a %, must be kept.
#, fuzzy
msgid ""
msgstr ""
"Project-Id-Version: panelkit\n"
"POT-Creation-Date: )" +
           creationDate(table.stamp) + R"(\n"
"PO-Revision-Date: YEAR-MO-DA HO:MI+ZONE\n"
"Last-Translator: FULL NAME <EMAIL@ADDRESS>\n"
"Language-Team: LANGUAGE\n"
"Language: \n"
"MIME-Version: 1.0\n"
"Content-Type: text/plain; charset=UTF-8\n"
"Content-Transfer-Encoding: 8bit\n"
"X-Module: )" +
           table.module + R"(\n"
"X-Table-Stamp: )" +
           std::to_string(table.stamp) + R"(\n"
"X-Table-Texts: )" +
           std::to_string(table.texts) + "\\n\"\n";
}

std::string entry(const std::vector<std::string>& uses, const char* context, std::string_view wording) {
    std::string text = "\n";
    for (const std::string& use : uses) text += "#. " + use + '\n';
    if (wording.find("%s") != std::string_view::npos || wording.find("%u") != std::string_view::npos ||
        wording.find("%1$s") != std::string_view::npos) {
        text += "#, c-format\n";
    } else if (wording.find('%') != std::string_view::npos) {
        text += "#, no-c-format\n";
    }
    if (context) text += "msgctxt \"" + std::string(context) + "\"\n";
    return text + "msgid " + inQuotes(wording) + "\nmsgstr \"\"\n";
}

} // namespace documents::po
