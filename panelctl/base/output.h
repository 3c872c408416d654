// SPDX-License-Identifier: MIT
//
// Printing. Results go to standard output, everything else to standard error. Text for people goes through the
// library's console functions, which convert it to the console's code page; JSON and exported data are not converted.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace panelctl {

class CommandError;

// Whether something is good or bad, shown by a colour where the terminal has colours.
enum class Mood : unsigned char { plain, good, warning, bad, faint };

struct Cell {
    std::string text; // not escaped: that is done when it is printed
    Mood mood = Mood::plain;
};

// A table whose columns are aligned by display width. Without rows it prints nothing.
class Table {
public:
    explicit Table(std::vector<std::string> headings) : headings_(std::move(headings)) {}
    void add(std::vector<Cell> row) { rows_.push_back(std::move(row)); }
    void print() const;

private:
    std::vector<std::string> headings_;
    std::vector<std::vector<Cell>> rows_;
};

// The properties of one thing, a line "name: text" for each. Those without a text are left out.
class Sheet {
public:
    void add(const std::string& name, Cell cell) { lines_.push_back({name, std::move(cell)}); }
    void print() const;

private:
    struct Line {
        std::string name;
        Cell cell;
    };
    std::vector<Line> lines_;
};

// Colours are used on a terminal unless NO_COLOR is set.
void setColours(bool on);

// A line of a result, and a line about progress or problems. Characters that act on a terminal or can't be seen are
// escaped, except for ends of lines: text from elsewhere that may have some must have been escaped before.
void printLine(const std::string& text);
void printNote(const std::string& text);

// With --json, what goes to standard error is JSON too: one object in each line.
void setJsonNotes(bool on);

// What an error says, as a note: the verb goes on, or has done its work. With --json an object with "code", "name",
// "message", and "incomplete" or "details" for the lines below.
void noteError(const CommandError& error);

// The error that ends the program. `place` is the verb.
void printError(const CommandError& error, const std::string& place);

// Lines from elsewhere: each is escaped, and tabs become blanks.
void printLines(const std::string& text);

// A result as JSON in UTF-8, indented by two blanks.
void printJson(const nlohmann::ordered_json& value);

// The same in one line.
void printJsonLine(const nlohmann::ordered_json& value);

// A time in JSON, in every verb: "2027-03-01T12:00:00Z", or null for 0, which the records have for a time that is not
// known. `time` is in seconds since 1970-01-01 UTC.
nlohmann::ordered_json timeJson(std::uint64_t time);

// Flushes standard output. Returns false when its reader has gone. Throws CommandError when it can't be written for
// another reason.
bool flushOutput();

// Raw bytes on standard output. Throws CommandError when they can't be written.
void printRaw(const std::string& bytes);

} // namespace panelctl
