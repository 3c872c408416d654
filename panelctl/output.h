// SPDX-License-Identifier: MIT
//
// What panelctl prints. Results go to standard output, everything else to standard error; text for people goes through
// the library's console functions, which turn it into the console's code page, JSON and exported data as they are.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

namespace panelctl {

// How things stand, shown by colour where the terminal has one.
enum class Mood : unsigned char { plain, good, warning, bad, faint };

struct Cell {
    std::string text; // as it came: it is escaped when it is printed
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

// One thing with its properties below each other, "name: text". Those without a text are left out.
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

// A line of a result, or about what is going on. `text` is ours: what comes from elsewhere is escaped before.
void printLine(const std::string& text);
void printNote(const std::string& text);

// Lines that come from elsewhere, each of them escaped; tabs in them become blanks.
void printLines(const std::string& text);

// A result as JSON, UTF-8, two blanks deep.
void printJson(const nlohmann::ordered_json& value);

// The same in one line.
void printJsonLine(const nlohmann::ordered_json& value);

// Sends out what was printed. False when nobody reads it any more. Throws CommandError when it can't be written for
// another reason.
bool flushOutput();

// Raw bytes on standard output. Throws CommandError when they can't be written.
void printRaw(const std::string& bytes);

} // namespace panelctl
