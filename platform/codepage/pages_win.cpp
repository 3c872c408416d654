// SPDX-License-Identifier: MIT
#include <platform/codepage/pages.h>

#include <windows.h>

namespace platform {

namespace {

// Numbers that mean a setting of the system or of the thread instead of a page; and the symbol page, which is not text.
bool isStandIn(std::uint32_t page) {
    return page == CP_ACP || page == CP_OEMCP || page == CP_MACCP || page == CP_THREAD_ACP || page == CP_SYMBOL;
}

} // namespace

bool knowsPage(std::uint32_t page) {
    CPINFO info{};
    return !isStandIn(page) && GetCPInfo(page, &info) && info.MaxCharSize <= 2;
}

void decodePage(std::uint32_t page, std::string_view bytes, std::u16string& text) {
    static_assert(sizeof(wchar_t) == sizeof(char16_t));
    const int size = static_cast<int>(bytes.size());
    if (size == 0) return;
    text.resize(bytes.size()); // a byte of these pages becomes at most one unit
    auto* to = reinterpret_cast<wchar_t*>(text.data());
    const int made = MultiByteToWideChar(page, 0, bytes.data(), size, to, size);
    text.resize(static_cast<std::size_t>(made));
}

void encodePage(std::uint32_t page, std::u16string_view text, std::string& bytes) {
    const int size = static_cast<int>(text.size());
    if (size == 0) return;
    const auto* from = reinterpret_cast<const wchar_t*>(text.data());
    const int needed = WideCharToMultiByte(page, WC_NO_BEST_FIT_CHARS, from, size, nullptr, 0, "?", nullptr);
    bytes.resize(static_cast<std::size_t>(needed));
    WideCharToMultiByte(page, WC_NO_BEST_FIT_CHARS, from, size, bytes.data(), needed, "?", nullptr);
}

} // namespace platform
