// SPDX-License-Identifier: MIT
//
// Selects the form of a text for a number. The header of a gettext catalogue has the rule of its language:
//
//   Plural-Forms: nplurals=3; plural=(n%10==1 && n%100!=11 ? 0 : n%10>=2 && n%10<=4 && (n%100<10 || n%100>=20) ? 1 :
//   2);
//
// The expression is C's: decimal numbers, n, parentheses, ! * / % + - < <= > >= == != && || and ?:.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Loc {

class PluralRule {
public:
    // The rule of English, which is gettext's default: one form for 1, another for all other numbers.
    PluralRule() = default;

    // Reads the value of the header's field. Returns nullopt when, for one of the numbers up to 1000, it can't be
    // evaluated or the result is not below nplurals.
    static std::optional<PluralRule> read(std::string_view field);

    std::size_t forms() const { return forms_; }

    // Returns the form for a number, from 0 to forms() - 1.
    std::size_t formFor(std::uint64_t number) const;

private:
    std::size_t forms_ = 2;
    std::string expression_ = "n != 1";
};

} // namespace Loc
