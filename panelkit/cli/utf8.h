// SPDX-License-Identifier: MIT
//
// Counts characters of UTF-8 text and pads it for columns. Characters are counted, not columns: wide characters
// (Chinese) and combining accents do not line up. Malformed text is not detected, see below.
#pragma once

#include <platform/export.h>

#include <cstdint>
#include <string>

// Returns the number of characters of a zero-terminated text, which must be well-formed UTF-8: the length of each
// sequence is taken from its first byte, and the other bytes are skipped unchecked. A text that ends within a sequence
// is read past its end. Check text from a token or a certificate first.
PANELKIT_EXPORT std::int32_t get_utf8_strlen(const char* text);

// Appends blanks until the text, counted up to its first zero byte, has `width` characters. A longer text stays as it
// is; it is never cut.
PANELKIT_EXPORT void pad_utf8_string(std::string& text, std::int32_t width);
