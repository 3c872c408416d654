// SPDX-License-Identifier: MIT
//
// A catalogue of any bytes is refused or fits the table; a seal, which random bytes never have, is put behind them too.
#include <platform/loccore/catalogue.h>
#include <platform/loccore/placeholders.h>
#include <platform/loccore/seal.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static constexpr std::array<std::string_view, 3> names{"greeting", "empty", "format"};
    static constexpr std::array<std::string_view, 3> defaults{"Hello ", "", "%s is %u"};
    const Loc::TableEdition table{"demo", 42, names, defaults, false};
    const std::string bytes(data, data + size);
    const std::string sealed = bytes + "cksum " + [&] {
        const std::string sum = std::to_string(Loc::cksum(bytes));
        return std::string(10 - sum.size(), '0') + sum;
    }() + '\n';
    for (const std::string& catalogue : {bytes, sealed}) {
        Loc::Translations found;
        std::string error;
        if (Loc::checkCatalogue(catalogue, table, found, error) != Loc::Loaded) continue;
        for (const auto& [position, text] : found.entries) {
            if (!Loc::samePlaceholders(defaults.at(position), text)) std::abort();
        }
    }
    return 0;
}
