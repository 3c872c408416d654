// SPDX-License-Identifier: MIT
#include <panelkit/format/hex_text.h>

#include <platform/text/ascii.h>

namespace panelkit {

void appendHex(std::string_view bytes, std::string& text, char separator) {
    if (bytes.empty()) return;
    const std::size_t start = text.size();
    text.resize(start + (separator ? 3 * bytes.size() - 1 : 2 * bytes.size()));
    char* to = text.data() + start;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (separator && i != 0) *to++ = separator;
        const auto byte = static_cast<unsigned char>(bytes[i]);
        *to++ = platform::hexDigit(byte >> 4U);
        *to++ = platform::hexDigit(byte);
    }
}

} // namespace panelkit
