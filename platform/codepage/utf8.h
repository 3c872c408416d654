// SPDX-License-Identifier: MIT
//
// Converts between UTF-8 and UTF-16, with the same result on every system for any input. Memory is reserved once, at
// the largest size, so that growing leaves no copy of a secret.
#pragma once

#include <string>
#include <string_view>

namespace platform {

// Appends to the empty `text`. Each longest run of bytes that begins a well-formed sequence but does not complete it
// becomes one U+FFFD, and so does each byte that begins none, each overlong form, surrogate and number above 10FFFF.
void decodeUtf8(std::string_view bytes, std::u16string& text);

// Appends to the empty `bytes`. A surrogate without its pair becomes U+FFFD.
void encodeUtf8(std::u16string_view text, std::string& bytes);

} // namespace platform
