// SPDX-License-Identifier: MIT
#include <platform/loccore/plural_rule.h>

#include <algorithm>
#include <array>
#include <charconv>

namespace Loc {

namespace {

using std::string_view;
using Value = std::optional<std::uint64_t>; // nullopt: the expression is wrong

constexpr std::size_t longestExpression = 400; // bounds the nesting of parentheses, and so the recursion
constexpr std::size_t mostForms = 8;
constexpr std::uint64_t largestTried = 1000;

struct Operator {
    string_view sign;
    int strength;
    Value (*apply)(std::uint64_t, std::uint64_t);
};

// clang-format off
// An operator that is a prefix of another one comes after it.
constexpr std::array operators{
    Operator{"||", 1, [](auto a, auto b) -> Value { return a || b; }},
    Operator{"&&", 2, [](auto a, auto b) -> Value { return a && b; }},
    Operator{"==", 3, [](auto a, auto b) -> Value { return a == b; }},
    Operator{"!=", 3, [](auto a, auto b) -> Value { return a != b; }},
    Operator{"<=", 4, [](auto a, auto b) -> Value { return a <= b; }},
    Operator{">=", 4, [](auto a, auto b) -> Value { return a >= b; }},
    Operator{"<",  4, [](auto a, auto b) -> Value { return a < b; }},
    Operator{">",  4, [](auto a, auto b) -> Value { return a > b; }},
    Operator{"+",  5, [](auto a, auto b) -> Value { return a + b; }},
    Operator{"-",  5, [](auto a, auto b) -> Value { return a - b; }},
    Operator{"*",  6, [](auto a, auto b) -> Value { return a * b; }},
    Operator{"/",  6, [](auto a, auto b) -> Value { return b ? Value(a / b) : std::nullopt; }},
    Operator{"%",  6, [](auto a, auto b) -> Value { return b ? Value(a % b) : std::nullopt; }},
};
// clang-format on

// Reads and evaluates an expression. Expressions have no side effects, so both branches of ?: are evaluated.
class Evaluation {
public:
    Evaluation(string_view expression, std::uint64_t n) : rest_(expression), n_(n) {}

    Value all() {
        const Value value = choice();
        skipBlanks();
        return rest_.empty() ? value : std::nullopt;
    }

private:
    void skipBlanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t"), rest_.size())); }

    bool takes(string_view sign) {
        skipBlanks();
        if (!rest_.starts_with(sign)) return false;
        rest_.remove_prefix(sign.size());
        return true;
    }

    Value choice() {
        const Value condition = binary(1);
        if (!condition || !takes("?")) return condition;
        const Value whenTrue = choice();
        if (!whenTrue || !takes(":")) return std::nullopt;
        const Value whenFalse = choice();
        if (!whenFalse) return std::nullopt;
        return *condition ? whenTrue : whenFalse;
    }

    // Operators with at least this precedence, from left to right.
    Value binary(int strength) {
        Value left = unary();
        while (left) {
            const auto* const next = std::find_if(operators.begin(), operators.end(), [&](const Operator& one) {
                return one.strength >= strength && takes(one.sign);
            });
            if (next == operators.end()) return left;
            const Value right = binary(next->strength + 1);
            if (!right) return right;
            left = next->apply(*left, *right);
        }
        return left;
    }

    Value unary() {
        if (takes("!")) {
            const Value value = unary();
            return value ? Value(*value == 0) : value;
        }
        if (takes("n")) return n_;
        if (takes("(")) {
            const Value value = choice();
            return takes(")") ? value : std::nullopt;
        }
        std::uint64_t number = 0;
        const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), number);
        if (error != std::errc()) return std::nullopt;
        rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
        return number;
    }

    string_view rest_;
    std::uint64_t n_;
};

// The text between a name and the next semicolon.
string_view valueOf(string_view field, string_view name) {
    const std::size_t at = field.find(name);
    if (at == string_view::npos) return {};
    const string_view value = field.substr(at + name.size());
    return value.substr(0, value.find(';'));
}

} // namespace

std::optional<PluralRule> PluralRule::read(string_view field) {
    PluralRule rule;
    const Value forms = Evaluation(valueOf(field, "nplurals="), 0).all();
    const string_view expression = valueOf(field, "plural="); // not found in "nplurals="
    if (!forms || *forms == 0 || *forms > mostForms || expression.size() > longestExpression) return std::nullopt;
    rule.forms_ = static_cast<std::size_t>(*forms);
    rule.expression_ = expression;
    for (std::uint64_t number = 0; number <= largestTried; ++number) {
        const Value form = Evaluation(rule.expression_, number).all();
        if (!form || *form >= rule.forms_) return std::nullopt;
    }
    return rule;
}

std::size_t PluralRule::formFor(std::uint64_t number) const {
    const Value form = Evaluation(expression_, number).all();
    return form && *form < forms_ ? static_cast<std::size_t>(*form) : 0;
}

} // namespace Loc
