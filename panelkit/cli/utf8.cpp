// SPDX-License-Identifier: MIT
#include <panelkit/cli/utf8.h>

#include <cstddef>

namespace {

// The length of the sequence of a lead byte. Nothing is checked: a continuation byte is taken for a lead byte.
std::size_t sequenceLength(unsigned char lead) {
    if (lead < 0x80) return 1;
    if (!(lead & 0x20)) return 2;
    if (!(lead & 0x10)) return 3;
    return 4;
}

} // namespace

std::int32_t get_utf8_strlen(const char* text) {
    std::int32_t count = 0;
    for (; *text; text += sequenceLength(static_cast<unsigned char>(*text))) ++count;
    return count;
}

// Counts as get_utf8_strlen does, but does not read past the end of a text that ends within a sequence: its size is
// known here.
void pad_utf8_string(std::string& text, std::int32_t width) {
    std::int64_t missing = width;
    for (std::size_t i = 0; i < text.size() && text[i]; i += sequenceLength(static_cast<unsigned char>(text[i]))) {
        --missing;
    }
    if (missing > 0) text.append(static_cast<std::size_t>(missing), ' ');
}
