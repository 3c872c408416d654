// SPDX-License-Identifier: MIT
//
// Converts text from one code page to another. Pages are identified by their Windows numbers: 65001 is UTF-8; 437, 850,
// 866, 1251, 1252 and 20866 (KOI8-R) are known everywhere and give the same results on both systems; other pages of one
// or two bytes per character are known if the system has them.
//
// The rules, the same on both systems:
//
//   a character that the target page lacks     becomes one '?'; never a similar one ("best fit")
//   a byte that the source page leaves empty   stands for the control character of its number, both ways, when it
//                                              is one of 80..9F: 98 in 1251; 81, 8D, 8F, 90 and 9D in 1252
//   malformed UTF-8                            becomes U+FFFD, in a page that lacks it '?': one for each longest
//                                              run of bytes that begins a well-formed sequence, else for each byte
//   a page that is not known, and page 0       nothing is converted: sizes are 0
//
//   const convi converter(65001, 866);
//   std::string shown(converter.get_outsize(text.data(), text.size()), '\0');
//   converter.convert_safe(text.data(), text.size(), shown.data(), shown.size());
//
// A converter's only state is its two numbers. Its temporary buffers are wiped, so it may convert secrets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

class convi {
public:
    static constexpr std::uint32_t utf8Page = 65001;

    convi(std::uint32_t source, std::uint32_t target) : source_(source), target_(target) {}

    // Returns the page with the number in `digits` ("866"); 0 when it is not a number or the page is not known.
    static std::uint32_t get_codepage_value(const char* digits);

    // Returns the exact number of bytes that `length` bytes of source text (at most 2 GiB) become; zero bytes among
    // them are ordinary characters. Returns 0 when a page is not known, and for an empty text.
    std::size_t get_outsize(const char* source, std::size_t length) const;

    // Converts into `destination`, which has room for `size` bytes, and returns the number of bytes written. No zero
    // byte is added. Returns 0, with nothing written, when the result does not fit or get_outsize would return 0.
    std::size_t convert_safe(const char* source, std::size_t length, char* destination, std::size_t size) const;

private:
    void convert(const char* source, std::size_t length, std::string& converted) const;

    std::uint32_t source_;
    std::uint32_t target_;
};
