// SPDX-License-Identifier: MIT
//
// Sentences with placeholders. The English wording is written in the source where it is used, and the compiler checks
// that its placeholders fit the arguments. A translation, or a wording from another program, is known only at run time:
// it is filled in safely whatever it contains, and argumentKinds() says which arguments it takes.
//
//   %s           a text              %d           an integer
//   %1$s, %2$d   the first and second argument, in any order and more than once. Either all places of a wording are
//                numbered or no place is, and every argument must be used
//   %%           a percent sign; no other % is allowed
//
//   Loc::Phrase phrase = Loc::makePhrase("there is no provider \"%s\"", name);   // can be sent, and translated later
//   std::string text = Loc::fill(phrase);
//
// xgettext collects the wordings for translators. It finds them by the names of the functions that take them, and in
// tables by the mark N_. There is no global state.
#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Loc {

// ---- the places of a wording

inline constexpr std::size_t mostArguments = 9;

// A % of a wording, with the characters that belong to it.
struct Place {
    std::size_t length = 1; // of all of it
    char kind = 0;          // 's', 'd' or '%'; 0: not a place, just a %
    std::size_t number = 0; // of the argument, counted from 1; 0: the next one
};

// Returns the place at the start of `text`, which begins with a %.
constexpr Place placeAt(std::string_view text) {
    const bool isNumbered = text.size() > 2 && text[1] >= '1' && text[1] <= '9' && text[2] == '$';
    const std::size_t at = isNumbered ? 3 : 1;
    const char kind = at < text.size() ? text[at] : '\0';
    if (kind != 's' && kind != 'd' && (kind != '%' || isNumbered)) return {};
    return {at + 1, kind, isNumbered ? static_cast<std::size_t>(text[1] - '0') : 0};
}

// 's' or 'd' for each argument that a wording takes, then zeros.
using ArgumentKinds = std::array<char, mostArguments>;

// Returns the arguments that a wording takes; nullopt when it breaks the rules above.
constexpr std::optional<ArgumentKinds> argumentKinds(std::string_view wording) {
    ArgumentKinds kinds{};
    std::size_t inOrder = 0;
    bool anyNumbered = false;
    Place place;
    for (std::size_t at = wording.find('%'); at != std::string_view::npos; at = wording.find('%', at + place.length)) {
        place = placeAt(wording.substr(at));
        if (place.kind == '%') continue;
        anyNumbered = anyNumbered || place.number > 0;
        const std::size_t which = place.number > 0 ? place.number - 1 : inOrder++;
        const bool isMixed = anyNumbered && inOrder > 0;
        if (place.kind == 0 || isMixed || which >= mostArguments) return std::nullopt;
        if (kinds[which] != 0 && kinds[which] != place.kind) return std::nullopt;
        kinds[which] = place.kind;
    }
    const bool isAnyUnused = !std::is_partitioned(kinds.begin(), kinds.end(), [](char kind) { return kind != 0; });
    if (isAnyUnused) return std::nullopt;
    return kinds;
}

// ---- arguments

template <class T>
concept Number = std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char>;

template <class T>
concept Text = std::convertible_to<const T&, std::string_view>;

template <class T>
concept Argument = Number<T> || Text<T>;

// The kind of place that an argument of the type fills.
template <Argument T>
inline constexpr char kindOf = Number<T> ? 'd' : 's';

// Returns the argument as it is filled in.
template <Argument T>
std::string argumentText(const T& argument) {
    if constexpr (Number<T>) {
        return std::to_string(argument);
    } else {
        return std::string(std::string_view(argument));
    }
}

// ---- wordings

// A literal that is marked for translation in one place and shown in another. N_ is gettext's name for the mark.
struct Marked {
    const char* literal;
};
// Marks a literal for translation.
consteval Marked N_(const char* literal) { return {literal}; }

// Never defined. A wording that does not fit its arguments does not compile, with this name in the error.
void thePlacesOfTheWordingDoNotFitItsArguments();

// A wording for arguments of these kinds: Wording<'s', 'd'>. It is the parameter type of functions that show or send a
// wording, and is made from a literal. xgettext must know the function's name, or the wording is not translated.
template <char... kinds>
class Wording {
public:
    // NOLINTNEXTLINE(google-explicit-constructor): callers write the literal
    consteval Wording(const char* literal) : text_(literal) {
        if (argumentKinds(literal) != ArgumentKinds{kinds...}) thePlacesOfTheWordingDoNotFitItsArguments();
    }
    constexpr const char* text() const { return text_; }

private:
    const char* text_;
};

// The same for tables and members. It is made only from a marked literal, so that the mark can't be forgotten.
template <char... kinds>
class MarkedWording : public Wording<kinds...> {
public:
    // NOLINTNEXTLINE(google-explicit-constructor): callers write the marked literal
    consteval MarkedWording(Marked marked) : Wording<kinds...>(marked.literal) {}
};

// ---- phrases

// A wording with its arguments, to be shown later or elsewhere, perhaps in another language.
struct Phrase {
    std::string wording;
    std::vector<std::string> arguments;

    bool operator==(const Phrase&) const = default;
};

// Returns a phrase. Arguments that do not fit the wording do not compile.
template <Argument... Arguments>
Phrase makePhrase(Wording<kindOf<Arguments>...> wording, const Arguments&... arguments) {
    return {wording.text(), {argumentText(arguments)...}};
}

// A text that is not translated: from another program, a library or the system.
inline Phrase verbatim(std::string text) { return {"%s", {std::move(text)}}; }

inline constexpr std::size_t longestFilled = std::size_t{1} << 20;

// Returns the wording with its arguments filled in. A place without an argument, and a % that is not a place, stay as
// they are. A wording from elsewhere may name a long argument many times, so a text of more than a mebibyte ends with
// "...".
inline std::string fill(std::string_view wording, std::span<const std::string> arguments) {
    std::string filled;
    std::size_t next = 0;
    while (!wording.empty()) {
        if (filled.size() > longestFilled) return filled + "...";
        const std::size_t mark = std::min(wording.find('%'), wording.size());
        filled += wording.substr(0, mark);
        wording.remove_prefix(mark);
        if (wording.empty()) break;
        const Place place = placeAt(wording);
        std::string_view put = wording.substr(0, place.length);
        if (place.kind == '%') {
            put = "%";
        } else if (place.kind != 0) {
            const std::size_t which = place.number > 0 ? place.number - 1 : next++;
            if (which < arguments.size()) put = arguments[which];
        }
        filled += put;
        wording.remove_prefix(place.length);
    }
    return filled;
}

// The same for a phrase.
inline std::string fill(const Phrase& phrase) { return fill(phrase.wording, phrase.arguments); }

// Returns several phrases as one text: what happened, and after each colon why. Bounded in the same way.
inline std::string fill(std::span<const Phrase> phrases) {
    std::string filled;
    for (const Phrase& phrase : phrases) {
        if (filled.size() > longestFilled) return filled + "...";
        if (!filled.empty()) filled += ": ";
        filled += fill(phrase);
    }
    return filled;
}

} // namespace Loc
