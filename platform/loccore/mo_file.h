// SPDX-License-Identifier: MIT
//
// The compiled form of a gettext catalogue (.mo): 32-bit words with the positions of the texts. Reading is a pure
// function over bytes, which never reads beyond them.
//
//   0  magic 0x950412de     8  number of texts N      16  offset of N (length, offset) pairs: the translations
//   4  revision 0          12  offset of N pairs: the originals      20  a hash table, which is not used
//
// Every text is followed by a NUL, which its length does not count. An original may begin with a context and the byte
// 4.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Loc {

// Views into the bytes that were read. `original` and `translation` are NUL-terminated there; either may contain
// further NULs, which separate plural forms.
struct MoText {
    std::optional<std::string_view> context;
    std::string_view original;
    std::string_view translation;
};

// Reads all texts, including the header (whose original is empty). Reads only little-endian files of revision 0, as
// msgfmt writes them on the machines on which we build. On false, `error` receives the reason and `texts` is
// unspecified.
bool readMo(std::string_view bytes, std::vector<MoText>& texts, std::string& error);

} // namespace Loc
