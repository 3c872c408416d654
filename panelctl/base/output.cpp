// SPDX-License-Identifier: MIT
#include <panelctl/base/output.h>

#include <panelctl/base/exit_codes.h>
#include <panelctl/base/say.h>
#include <panelctl/base/system.h>
#include <panelctl/base/terminal_text.h>

#include <panelkit/cli/cli_output.h>
#include <platform/system/clock.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace panelctl {

namespace {

bool colours = false;
bool jsonNotes = false;

const char* codeOf(Mood mood) {
    switch (mood) {
    case Mood::good: return "\033[32m";
    case Mood::warning: return "\033[33m";
    case Mood::bad: return "\033[31m";
    case Mood::faint: return "\033[2m";
    case Mood::plain: break;
    }
    return "";
}

[[noreturn]] void failToWrite() { throw CommandError(Exit::failed, say("standard output can't be written")); }

std::string painted(const std::string& text, Mood mood) {
    return colours && mood != Mood::plain ? codeOf(mood) + text + "\033[0m" : text;
}

// The line may have our own colour codes.
void writeLine(const std::string& line) { cli_printf("%s\n", line.c_str()); }

// Sentences of ours have the names of tokens, files and accounts in them. Ends of lines are ours: callers escape texts
// that may have some.
std::string harmless(const std::string& text) {
    std::string safe;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        safe += (begin == 0 ? "" : "\n") + escaped(std::string_view(text).substr(begin, end - begin));
        begin = end + 1;
    }
    return safe;
}

// JSON in one form for terminals and pipes: characters that act on a terminal or can't be seen are written as \u
// escapes, so what tokens, certificates and files say has no effect on the reader. They occur only within texts.
std::string jsonText(const nlohmann::ordered_json& value, int indent) {
    return platform::escapedJson(value.dump(indent, ' ', false, nlohmann::json::error_handler_t::replace)) + "\n";
}

// Makes the widest columns narrower, until the table fits. 0 stands for any width. What is narrow already stays: a
// table that can't fit is cut by nobody.
void fit(std::vector<int>& widths, int most) {
    constexpr int narrow = 12, between = 2;
    int all = -between;
    for (const int width : widths) all += width + between;
    while (most > 0 && all > most) {
        const auto widest = std::max_element(widths.begin(), widths.end());
        if (*widest <= narrow) return;
        --*widest;
        --all;
    }
}

} // namespace

void setColours(bool on) { colours = on; }

void Table::print() const {
    if (rows_.empty()) return;
    std::vector<int> widths;
    for (const std::string& heading : headings_) widths.push_back(displayWidth(heading));
    for (const auto& row : rows_) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], displayWidth(escaped(row[i].text)));
        }
    }
    fit(widths, terminalWidth());
    const auto printRow = [&](const auto& row) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string text = cut(escaped(row[i].text), widths[i]);
            const bool last = i + 1 == row.size();
            line += painted(text, row[i].mood);
            if (!last) line += std::string(static_cast<std::size_t>(widths[i] - displayWidth(text)) + 2, ' ');
        }
        writeLine(line);
    };
    std::vector<Cell> heading;
    for (const std::string& text : headings_) heading.push_back({text, Mood::faint});
    printRow(heading);
    for (const auto& row : rows_) printRow(row);
}

void Sheet::print() const {
    int width = 0;
    for (const Line& line : lines_) {
        if (!line.cell.text.empty()) width = std::max(width, displayWidth(line.name));
    }
    for (const Line& line : lines_) {
        if (line.cell.text.empty()) continue;
        const std::string name = padded(line.name + ":", width + 3);
        writeLine(painted(name, Mood::faint) + painted(escaped(line.cell.text), line.cell.mood));
    }
}

void printLine(const std::string& text) { writeLine(harmless(text)); }

namespace {

// `code` is that with which the program ends.
nlohmann::ordered_json toJson(const CommandError& error, Exit code) {
    nlohmann::ordered_json json{{"schema", 1}, {"code", static_cast<int>(code)}};
    json["name"] = nameOf(error.code);
    json["message"] = error.what();
    auto below = nlohmann::ordered_json::array();
    for (const std::string& line : error.below)
        below.push_back(line.substr(std::min(line.find_first_not_of(' '), line.size())));
    if (!below.empty()) json[error.code == Exit::incomplete ? "incomplete" : "details"] = std::move(below);
    return json;
}

std::string linesOf(const CommandError& error) {
    std::string lines = escaped(error.what());
    for (const std::string& line : error.below) lines += "\n" + escaped(line);
    return lines;
}

// Not converted: JSON is UTF-8.
void writeNote(const nlohmann::ordered_json& json) {
    const std::string line = jsonText(json, -1);
    std::fflush(stdout);
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
}

} // namespace

void setJsonNotes(bool on) { jsonNotes = on; }

void noteError(const CommandError& error) {
    jsonNotes ? writeNote(toJson(error, Exit::ok)) : printNote(linesOf(error));
}

void printError(const CommandError& error, const std::string& place) {
    if (!jsonNotes) return printNote("panelctl: " + linesOf(error));
    nlohmann::ordered_json json = toJson(error, error.code);
    json["place"] = place;
    writeNote(json);
}

void printNote(const std::string& text) {
    if (jsonNotes) return writeNote({{"schema", 1}, {"note", text}});
    const std::string line = harmless(text);
    std::string converted = line + "\n"; // not changed when there is no code page to convert to
    cli_sprintf(&converted, "%s\n", line.c_str());
    std::fflush(stdout); // so that notes and results appear in the order in which they were printed
    std::fwrite(converted.data(), 1, converted.size(), stderr);
    std::fflush(stderr); // some runtimes buffer it when it is not a console
}

void printLines(const std::string& text) {
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        std::string line = text.substr(begin, end - begin);
        std::replace(line.begin(), line.end(), '\t', ' ');
        writeLine(escaped(line));
        begin = end + 1;
    }
}

void printJson(const nlohmann::ordered_json& value) { printRaw(jsonText(value, 2)); }

nlohmann::ordered_json timeJson(std::uint64_t time) {
    return time == 0 ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(platform::isoText(time));
}

void printJsonLine(const nlohmann::ordered_json& value) {
    const std::string line = jsonText(value, -1);
    useBinaryOutput();
    std::fwrite(line.data(), 1, line.size(), stdout);
}

bool flushOutput() {
    errno = 0;
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return true;
    if (readerLeft(errno)) return false;
    failToWrite();
}

void printRaw(const std::string& bytes) {
    useBinaryOutput();
    if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size() || std::fflush(stdout) != 0) {
        failToWrite();
    }
}

} // namespace panelctl
