// SPDX-License-Identifier: MIT
//
// JSON files that people write and edit. A text is read into a tree that knows the line of each value, so that an error
// message can name the place. An object with two members of one name is refused, because one of them would be lost; so
// is a text with deeper nesting than any of our files. The text may hold secrets: it is wiped with the document, and no
// error quotes it.
//
//   const platform::json::Document file(text); // throws platform::json::Error
//   if (const auto* days = file.root().find("days")) {
//       if (!days->value.number<std::uint32_t>()) std::printf("line %d: expected a number\n", days->line);
//   }
//
// Any thread may read a document.
#pragma once

#include <platform/export.h>

#include <concepts>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace platform::json {

inline constexpr std::size_t deepest = 16; // objects and lists within each other

// What a value is. An integer has at most 64 bits; other numbers are real.
enum class Kind : unsigned char { null, flag, integer, real, text, list, object };

struct Member;

// A value of a document. The document must outlive it: its texts are views.
struct Value {
    Kind kind = Kind::null;
    bool flag = false;
    bool isNegative = false;
    int line = 1;                // where it begins, from 1 on
    std::uint64_t bits = 0;      // of an integer; in two's complement when it is negative
    double real = 0;             // of a number with a fraction or an exponent, or with more than 64 bits
    std::string_view text;       // UTF-8, its escapes resolved
    std::vector<Value> items;    // of a list
    std::vector<Member> members; // of an object, in the order of the text; no name twice

    // Returns an integer that the type can hold; nullopt for anything else.
    template <std::integral Integer>
    std::optional<Integer> number() const {
        using Limits = std::numeric_limits<Integer>;
        if (kind != Kind::integer) return std::nullopt;
        const bool fits = isNegative ? std::is_signed_v<Integer> &&
                                           static_cast<std::int64_t>(bits) >= static_cast<std::int64_t>(Limits::min())
                                     : bits <= static_cast<std::uint64_t>(Limits::max());
        return fits ? std::optional(static_cast<Integer>(bits)) : std::nullopt;
    }

    // Returns the member with exactly that name; null when there is none or the value is not an object.
    PANELKIT_EXPORT const Member* find(std::string_view name) const;
};

// A member of an object.
struct Member {
    std::string_view name;
    int line = 1; // of the name
    Value value;
};

// Thrown when a text is refused.
class PANELKIT_EXPORT Error : public std::runtime_error {
public:
    enum class Why : unsigned char { malformed, nameTwice, tooDeep };

    // what(): for example "line 12: not valid JSON at or after sections.IKE".
    Error(Why reason, int lineNumber, int columnNumber, const std::string& memberPath);

    Why why;
    int line, column; // from 1 on; the column counts bytes
    std::string path; // of the last member that was begun, "sections.USER.LSP_GATES[0].GATE_ADDRESS"; may be empty
};

// A text that was read, with its values. Wipes its copy of the text when it is destroyed.
class PANELKIT_EXPORT Document {
public:
    // Reads a whole text. Throws Error.
    explicit Document(std::string_view text);
    ~Document(); // wipes the texts
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

    const Value& root() const { return root_; }

private:
    std::string texts_; // all names and texts, one after the other
    Value root_;
};

// Returns the value as JSON in one line, as short as possible.
PANELKIT_EXPORT std::string print(const Value& value);

// Appends a text, which must be UTF-8, in quotes and with escapes. One byte becomes at most six characters: if the
// string has room for them, no second copy of a secret is left.
PANELKIT_EXPORT void appendQuoted(std::string_view text, std::string& to);

} // namespace platform::json
