// SPDX-License-Identifier: MIT
#include <platform/codepage/charsets_posix.h>

#include <platform/text/ascii.h>

#include <algorithm>

namespace platform {

namespace {

struct Charset {
    std::uint32_t page;
    const char* name;
};

// The first name of a page is for iconv; the others are names in locales. Only pages that terminals really use; a page
// is left out if iconv composes characters in it (1255, 1258) and Windows does not.
// clang-format off
constexpr Charset charsets[] = {
    {65001, "UTF-8"},
    {437,   "CP437"},       {437,   "IBM437"},
    {850,   "CP850"},       {850,   "IBM850"},
    {852,   "CP852"},       {852,   "IBM852"},
    {855,   "CP855"},       {855,   "IBM855"},
    {866,   "CP866"},       {866,   "IBM866"},
    {932,   "CP932"},       {932,   "SHIFT_JIS"},  {932, "WINDOWS-31J"},
    {936,   "CP936"},       {936,   "GBK"},        {936, "GB2312"},
    {949,   "CP949"},       {949,   "EUC-KR"},
    {950,   "CP950"},       {950,   "BIG5"},
    {1250,  "CP1250"},
    {1251,  "CP1251"},
    {1252,  "CP1252"},
    {1253,  "CP1253"},
    {1254,  "CP1254"},
    {1257,  "CP1257"},
    {20866, "KOI8-R"},
    {21866, "KOI8-U"},
    {28591, "ISO-8859-1"},
    {28592, "ISO-8859-2"},
    {28594, "ISO-8859-4"},
    {28595, "ISO-8859-5"},
    {28597, "ISO-8859-7"},
    {28599, "ISO-8859-9"},
    {28603, "ISO-8859-13"},
    {28605, "ISO-8859-15"},
};
// clang-format on

} // namespace

const char* charsetOfPage(std::uint32_t page) {
    const auto* row = std::ranges::find(charsets, page, &Charset::page);
    return row == std::end(charsets) ? nullptr : row->name;
}

std::uint32_t pageOfCharset(std::string_view charset) {
    const auto* row = std::ranges::find_if(
        charsets, [charset](const Charset& known) { return equalIgnoringCase(known.name, charset); });
    return row == std::end(charsets) ? 0 : row->page;
}

} // namespace platform
