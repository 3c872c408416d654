// SPDX-License-Identifier: MIT
//
// Translatable texts that are not in the table of default texts. They are translated by their wording. A text that is
// kept has a cell of its own, made by registerText when the library is loaded or when the group that shows it is built.
#pragma once

#include <platform/export.h>

#include <span>

// Makes a cell that holds `text` or its translation. `text` must live as long as the process. The cell never moves and
// is never freed; later translations are written into it. Every call makes a new cell, even if the wording has one. Not
// locked: called by static initialisers and by constructors of groups, which are built on one thread at a time.
PANELKIT_EXPORT const char*& registerText(const char* text);

namespace panelkit {

// A text that the library registers, and what it is, for translators.
struct RegisteredText {
    const char* wording;
    const char* use;
};

// Returns all of them except the empty text, which the gateways of USER register and which is never translated.
PANELKIT_EXPORT std::span<const RegisteredText> registeredTexts();

// Returns the current text for a wording of that list. For texts that are shown at once and so need no cell.
const char* registeredText(const char* wording);

} // namespace panelkit
