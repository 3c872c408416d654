// SPDX-License-Identifier: MIT
//
// panelctl's texts as a table that the localization core translates: a module beside the library's Loc::UIModule, with
// catalogues of its own (po/panelctl.pot, panelctl.mo). An entry's context is its name in Say.
#pragma once

#include <panelctl/texts.h>

#include <platform/loccore/module.h>

#include <cstdint>
#include <string>
#include <vector>

namespace panelctl {

// The edition of the table, as seconds since 1970. Adding and removing texts is noticed by their number; whoever gives
// a name another meaning changes this, and X-Table-Stamp of the translations with it.
inline constexpr std::uint64_t textTableStamp = 1795219200;

// A row of the table, for what makes translation templates from it.
struct TextRow {
    std::string name;    // the enumerator
    const char* wording; // the English default
};
std::vector<TextRow> textRows();

class TextModule : public Loc::CCModule {
public:
    TextModule();
};

} // namespace panelctl
