// SPDX-License-Identifier: MIT
//
// All that the localization core keeps for a module, under the module's name, until the process ends: its cells,
// their defaults, and the catalogues whose texts they hold now.
//
// Thread contract: none of it takes a lock. Loading, registering and reading texts belong to the one thread of a front
// end; static initialisers register before that.
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
    // The one of that module; made when it is first asked for.
    static ModuleTexts& of(std::string_view module);

    explicit ModuleTexts(std::string_view module) : module_(module) {}
    ModuleTexts(const ModuleTexts&) = delete;
    ModuleTexts& operator=(const ModuleTexts&) = delete;

    // Sets the module's table, whose cells hold their defaults at the first call. `names` are those of the entries, in
    // table order, for a module whose catalogues call them by name; else they are called by position: "0", "1", ...
    void setTable(const CCLocLoader::Localization& table, std::span<const char* const> names);

    // Adds a cell beside the table. It holds `text`, which must live as long as the process, or its translation when a
    // catalogue that was loaded before has one; later ones replace it. The cell never moves and is never freed.
    const char*& add(const char* text);

    // The translation of a text beside the table that needs no cell, or the text itself where there is none.
    const char* translated(const char* text) const;

    // Checks a catalogue and, when it fits, points all cells that it has texts for to these; otherwise says why not
    // and changes nothing. Texts of earlier catalogues stay valid.
    Status apply(std::string catalogue, bool complete, std::string& error);

    // Gives every cell its default again.
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
