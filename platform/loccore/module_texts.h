// SPDX-License-Identifier: MIT
//
// Everything that the localization core stores for a module, by the module's name, until the process ends: its cells,
// their defaults, and the catalogues of their present texts.
//
// Threads: no lock is taken. Loading, registering and reading texts are for the one thread of a front end; static
// initialisers register before that.
#pragma once

#include <platform/loccore/catalogue.h>
#include <platform/loccore/localization.h>

#include <list>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Loc {

class ModuleTexts {
public:
    // Returns the texts of that module; made at the first call.
    static ModuleTexts& of(std::string_view module);

    explicit ModuleTexts(std::string_view module) : module_(module) {}
    ModuleTexts(const ModuleTexts&) = delete;
    ModuleTexts& operator=(const ModuleTexts&) = delete;

    // Sets the module's table, whose cells hold their defaults at the first call. `names` are the names of the entries
    // in catalogues, in table order; if it is empty, entries are named by position: "0", "1", ...
    void setTable(const CCLocLoader::Localization& table, std::span<const char* const> names);

    // Adds a cell beside the table. It holds `text`, which must live as long as the process, or its translation if a
    // loaded catalogue has one; later translations replace it. The cell never moves and is never freed.
    const char*& add(const char* text);

    // Returns the translation of a text that needs no cell, or the text itself when there is none.
    const char* translated(const char* text) const;

    // Checks a catalogue and, if it fits, makes all cells for which it has texts point to them; otherwise sets `error`
    // and changes nothing. Texts of earlier catalogues stay valid.
    Status apply(std::string catalogue, bool complete, std::string& error);

    // Resets every cell to its default.
    void restoreDefaults();

private:
    struct Cell {
        const char* text;
        const char* wording;
    };

    TableEdition edition(bool complete) const;

    std::string module_;
    CCLocLoader::Localization table_;
    std::vector<std::string> nameTexts_;
    std::vector<std::string_view> names_;
    std::vector<std::string_view> defaults_;
    std::list<Cell> cells_;                                           // a list, so that no cell ever moves
    std::map<std::string_view, const char*, std::less<>> translated_; // of texts beside the table, by wording
    std::list<std::string> catalogues_;
};

} // namespace Loc
