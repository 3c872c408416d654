// SPDX-License-Identifier: MIT
//
// UTF-8 from and to UTF-16, the same on every system whatever the input. Buffers are made once, at their largest, so
// that growing leaves no copy of a secret behind.
#pragma once

#include <string>
#include <string_view>

namespace platform {

// Appends to the empty `text`. Each longest run of bytes that begins a well-formed sequence but does not complete
// it, and each byte that begins none, becomes U+FFFD; so do overlong forms, surrogates and numbers above 10FFFF.
void decodeUtf8(std::string_view bytes, std::u16string& text);

// Appends to the empty `bytes`. A surrogate without its pair becomes U+FFFD.
void encodeUtf8(std::u16string_view text, std::string& bytes);

} // namespace platform
