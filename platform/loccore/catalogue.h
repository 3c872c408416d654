// SPDX-License-Identifier: MIT
//
// A translation catalogue, checked against the table that it is for before anything of it is used. Checking is a pure
// function over bytes.
//
// A catalogue is a compiled gettext file in UTF-8. Its header names the edition of the table that it translates:
//
//   X-Module: panelkit              the module
//   X-Table-Stamp: 1713951063       the table's stamp
//   X-Table-Texts: 260              the table's number of texts
//   X-Seal: cksum                   the file ends with a seal (seal.h); optional, binding when it is there
//
// An entry of the table is translated under its name as context, so one wording can have several translations; a text
// that is registered beside the table is translated without context, by its wording.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Loc {

// What a load came to; loadFile gives the number. Never changed.
enum Status : int {
    Loaded = 0,
    Unreadable = 1,   // no such file, or it can't be read
    Damaged = 2,      // no compiled catalogue in UTF-8, truncated, or with a wrong seal
    OtherModule = 3,  // made for another module
    OtherEdition = 4, // made for another edition of the module's table
    BadTexts = 5,     // a text that can't stand for its original, or, where all are demanded, a missing one
};

// The table that a catalogue must fit. Name and default of an entry stand at its position.
struct TableEdition {
    std::string_view module;
    std::uint64_t stamp = 0;
    std::span<const std::string_view> names;
    std::span<const std::string_view> defaults;
    bool complete = false; // every entry but empty ones must be translated
};

// Views into the catalogue's bytes, NUL-terminated there.
struct Translations {
    std::vector<std::pair<std::size_t, const char*>> entries;         // position in the table, text
    std::vector<std::pair<std::string_view, const char*>> registered; // wording, text
};

// Loaded, with all of the catalogue's texts in `found`; else `error` says what is wrong, for people.
Status checkCatalogue(std::string_view bytes, const TableEdition& table, Translations& found, std::string& error);

} // namespace Loc
