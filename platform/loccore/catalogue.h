// SPDX-License-Identifier: MIT
//
// A translation catalogue, checked completely before it is used. A catalogue is a compiled gettext file in UTF-8.
// Checking is a pure function over bytes. There are two kinds of catalogue:
//
// For a module's table of texts. The header names the version of the table:
//
//   X-Module: panelkit              the module
//   X-Table-Stamp: 1713951063       the table's stamp
//   X-Table-Texts: 260              the table's number of texts
//
// An entry of the table is translated with its name as context, so the same wording can have several translations; a
// text that is registered beside the table is translated by its wording, without context.
//
// For wordings in the source (phrase.h). They are looked up by the wording itself, as in gettext, and Plural-Forms in
// the header says which form belongs to a number (plural_rule.h).
#pragma once

#include <platform/loccore/plural_rule.h>

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Loc {

// The result of a load; loadFile returns the number. The numbers never change.
enum Status : int {
    Loaded = 0,
    Unreadable = 1,   // no such file, or it can't be read
    Damaged = 2,      // not a compiled catalogue in UTF-8, or truncated
    OtherModule = 3,  // made for another module
    OtherEdition = 4, // made for another version of the module's table
    BadTexts = 5,     // a translation that can't replace its original; or a missing one, if all are required
};

// The table that a catalogue must fit. Names and defaults are in the order of the entries.
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

// Loaded, with all of the catalogue's texts in `found`; otherwise `error` receives the reason, for people.
Status checkCatalogue(std::string_view bytes, const TableEdition& table, Translations& found, std::string& error);

// Views into the catalogue's bytes. A wording has one form; a wording with a plural has as many as the rule.
struct Wordings {
    PluralRule rule;
    std::map<std::string_view, std::vector<std::string_view>>
        forms; // by wording; for one with a plural, by its singular
};

// Loaded, with all of the catalogue's wordings in `found`; otherwise `error` receives the reason, for people. If one
// translation takes other arguments than its wording, the whole catalogue is refused.
Status checkWordings(std::string_view bytes, Wordings& found, std::string& error);

} // namespace Loc
