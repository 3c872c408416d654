// SPDX-License-Identifier: MIT
//
// Which form of a text goes with a number. The header of a gettext catalogue says it for its language:
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
    // That of English, which is gettext's default: one form for 1, another one for all other numbers.
    PluralRule() = default;

    // Reads the value of the header's field. Nothing when it can't be evaluated, or names a form that is not counted in
    // nplurals, for one of the numbers up to 1000.
    static std::optional<PluralRule> read(std::string_view field);

    std::size_t forms() const { return forms_; }

    // The form for a number, counted from 0 and below forms().
    std::size_t formFor(std::uint64_t number) const;

private:
    std::size_t forms_ = 2;
    std::string expression_ = "n != 1";
};

} // namespace Loc
