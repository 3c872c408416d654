// SPDX-License-Identifier: MIT
//
// The system's converter for code pages of one or two bytes per character. convi adds UTF-8 and the rules that are the
// same on both systems.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace platform {

// Whether decodePage and encodePage may be called for the page. False for 0 and for UTF-8.
bool knowsPage(std::uint32_t page);

// Converts `bytes` from the page and appends the result to the empty `text`.
void decodePage(std::uint32_t page, std::string_view bytes, std::u16string& text);

// Converts `text`, which has no surrogates, to the page and appends the result to the empty `bytes`. A character that
// the page lacks becomes '?'.
void encodePage(std::uint32_t page, std::u16string_view text, std::string& bytes);

} // namespace platform
