// SPDX-License-Identifier: MIT
//
// The system's converter for code pages of one or two bytes to the character. convi puts UTF-8 and the rules that
// hold on both systems round it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace platform {

// Whether decodePage and encodePage may be called for the page. Never for 0 and for UTF-8.
bool knowsPage(std::uint32_t page);

// Appends what `bytes` mean in the page to the empty `text`.
void decodePage(std::uint32_t page, std::string_view bytes, std::u16string& text);

// Appends `text`, which holds no surrogates, in the page's bytes to the empty `bytes`. What the page lacks becomes
// '?'.
void encodePage(std::uint32_t page, std::u16string_view text, std::string& bytes);

} // namespace platform
