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
    const auto printRow = [&](const auto& row) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string text = escaped(row[i].text);
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

void printNote(const std::string& text) {
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

namespace {

// JSON in one form for terminals and pipes: characters that act on a terminal or can't be seen are written as \u
// escapes, so what tokens, certificates and files say has no effect on the reader. They occur only within texts.
std::string jsonText(const nlohmann::ordered_json& value, int indent) {
    return platform::escapedJson(value.dump(indent, ' ', false, nlohmann::json::error_handler_t::replace)) + "\n";
}

} // namespace

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
