// SPDX-License-Identifier: MIT
//
// A catalogue of any bytes is refused, or its texts can replace their originals: those of a table, and wordings in the
// source. Any bytes can be filled in as a wording.
#include <platform/loccore/catalogue.h>
#include <platform/loccore/phrase.h>
#include <platform/loccore/placeholders.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

void tryTable(const std::string& bytes) {
    static constexpr std::array<std::string_view, 3> names{"greeting", "empty", "format"};
    static constexpr std::array<std::string_view, 3> defaults{"Hello ", "", "%s is %u"};
    Loc::Translations found;
    std::string error;
    if (Loc::checkCatalogue(bytes, {"demo", 42, names, defaults, false}, found, error) != Loc::Loaded) return;
    for (const auto& [position, text] : found.entries) {
        if (!Loc::samePlaceholders(defaults.at(position), text)) std::abort();
    }
}

void tryWordings(const std::string& bytes) {
    Loc::Wordings found;
    std::string error;
    if (Loc::checkWordings(bytes, found, error) != Loc::Loaded) return;
    for (const auto& [wording, forms] : found.forms) {
        for (const std::string_view form : forms) {
            if (!Loc::argumentKinds(form) || Loc::argumentKinds(form) != Loc::argumentKinds(wording)) std::abort();
        }
        if (forms.size() > 1 && found.rule.formFor(wording.size()) >= forms.size()) std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(data, data + size);
    tryTable(bytes);
    tryWordings(bytes);
    Loc::fill(bytes, std::array<std::string, 2>{"one", "two"});
    return 0;
}
