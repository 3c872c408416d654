// SPDX-License-Identifier: MIT
#include <service/base/plain_text.h>

#include <platform/text/utf8_character.h>

namespace panelkitd {

std::optional<std::size_t> plainCharacters(std::string_view text) {
    std::size_t characters = 0;
    for (; !text.empty(); ++characters) {
        const platform::Utf8Character next = platform::firstCharacter(text);
        const bool control = next.character < 0x20 || (next.character >= 0x7F && next.character < 0xA0);
        if (!next.good || control) return std::nullopt;
        text.remove_prefix(next.bytes);
    }
    return characters;
}

} // namespace panelkitd
