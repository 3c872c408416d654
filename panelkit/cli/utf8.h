// SPDX-License-Identifier: MIT
//
// Counting and padding UTF-8 text for columns. Characters are counted, not the places they take: wide and combining
// ones (Chinese, accents of their own) do not line up. Malformed text is not noticed, see below.
#pragma once

#include <platform/export.h>

#include <cstdint>
#include <string>

// The number of characters of a zero-terminated text, which must be well-formed UTF-8: the length of each sequence is
// taken from its first byte and stepped over unseen, so a text that ends within one is read beyond its end. Text from
// a token or a certificate is to be checked first.
PANELKIT_EXPORT std::int32_t get_utf8_strlen(const char* text);

// Appends blanks until the text, counted up to its first zero byte, has `width` characters. A longer one is left as
// it is, never cut.
PANELKIT_EXPORT void pad_utf8_string(std::string& text, std::int32_t width);
