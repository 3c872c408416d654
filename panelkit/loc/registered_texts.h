// SPDX-License-Identifier: MIT
//
// Texts beside the table of default texts, translated by their wording. One that is kept is a cell of its own, made by
// registerText when the library loads or when the group that shows it is built.
#pragma once

#include <platform/export.h>

#include <span>

// Makes a cell that holds `text`, which must live as long as the process, or its translation. The cell never moves and
// is never freed; later translations are written into it. Every call makes a cell, also for a wording that has one.
// Not locked: called by static initialisers, and by constructors of groups, which are built on one thread at a time.
PANELKIT_EXPORT const char*& registerText(const char* text);

namespace panelkit {

// A text that the library registers, and why the table does not hold it.
struct RegisteredText {
    const char* wording;
    const char* why;
};

// All of them except the empty text, which the gateways of USER register and which is never translated.
PANELKIT_EXPORT std::span<const RegisteredText> registeredTexts();

// The current text for a wording of that list which is shown at once, and so needs no cell.
const char* registeredText(const char* wording);

} // namespace panelkit
