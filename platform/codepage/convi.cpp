// SPDX-License-Identifier: MIT
//
// Everything is converted by way of UTF-16. UTF-8 is read and written here by our own rules, so that all systems agree
// on what is malformed; the other pages are converted by the system.
#include <platform/codepage/convi.h>

#include <platform/codepage/pages.h>
#include <platform/codepage/utf8.h>
#include <platform/system/wipe.h>

#include <charconv>
#include <cstring>
#include <limits>
#include <string_view>

namespace {

constexpr std::size_t longestSource = std::numeric_limits<std::int32_t>::max(); // the Windows calls count in 32 bits

bool known(std::uint32_t page) { return page == convi::utf8Page || platform::knowsPage(page); }

// No page of one or two bytes has characters beyond the basic plane. Each becomes one '?' here, because systems differ:
// they produce one '?', two, or none.
void replaceSurrogatePairs(std::u16string& text) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool pair = text[i] >= 0xD800 && text[i] <= 0xDBFF;
        text[kept++] = pair ? u'?' : text[i];
        if (pair) ++i;
    }
    text.resize(kept);
}

} // namespace

std::uint32_t convi::get_codepage_value(const char* digits) {
    const char* end = digits + std::strlen(digits);
    std::uint32_t page = 0;
    const auto parsed = std::from_chars(digits, end, page);
    return parsed.ec == std::errc() && parsed.ptr == end && known(page) ? page : 0;
}

std::size_t convi::get_outsize(const char* source, std::size_t length) const {
    std::string converted;
    const platform::WipeOnExit wiped(converted);
    convert(source, length, converted);
    return converted.size();
}

std::size_t convi::convert_safe(const char* source, std::size_t length, char* destination, std::size_t size) const {
    std::string converted;
    const platform::WipeOnExit wiped(converted);
    convert(source, length, converted);
    if (converted.empty() || converted.size() > size) return 0;
    std::memcpy(destination, converted.data(), converted.size());
    return converted.size();
}

void convi::convert(const char* source, std::size_t length, std::string& converted) const {
    if (length == 0 || length > longestSource || !known(source_) || !known(target_)) return;
    const std::string_view bytes(source, length);
    std::u16string text;
    if (source_ == utf8Page) {
        platform::decodeUtf8(bytes, text);
    } else {
        platform::decodePage(source_, bytes, text);
    }
    const std::size_t units = text.size();
    if (target_ == utf8Page) {
        platform::encodeUtf8(text, converted);
    } else {
        replaceSurrogatePairs(text);
        platform::encodePage(target_, text, converted);
    }
    platform::wipe(text.data(), units * sizeof(char16_t));
}
