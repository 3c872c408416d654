// SPDX-License-Identifier: MIT
//
// Requests and replies as bytes, checked by the compiler: fields of other types than the command's row has (commands.h)
// don't compile.
//
//   std::string reply = panelkit::encodeReply<panelkit::Command::TokenLogin>(true);
//
//   bool done = false;
//   PinStateMessage why;
//   panelkit::readReply<panelkit::Command::TokenLogin>(reply, done, why); // throws the text "CommandStreamError"
//
// A text may be given as std::string_view. Nothing here keeps or wipes what it is given.
#pragma once

#include <panelkit/bridge/command_stream.h>
#include <panelkit/bridge/commands.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace panelkit {

// Bytes that are in stream form already, for a field that the row has as Bytes.
struct Encoded {
    std::string_view bytes;
};

// What a field that the row has as Pairs is a vector of.
template <class First, class Second>
struct Pair {
    First first;
    Second second;

    static auto fields(auto& self, auto&& io) { return io(self.first, self.second); }
};

// Whether a value of the type `Given` is what the row has as `Field`.
template <class Field, class Given>
constexpr bool isField = std::is_same_v<Field, Given> || std::is_same_v<Field, Optional<Given>>;
template <>
inline constexpr bool isField<std::string, std::string_view> = true;
template <>
inline constexpr bool isField<Optional<std::string>, std::string_view> = true;
template <class Text>
inline constexpr bool isField<SecretText, Text> =
    std::is_same_v<Text, std::string> || std::is_same_v<Text, std::string_view>;
template <class Text>
inline constexpr bool isField<Optional<SecretText>, Text> = isField<SecretText, Text>;
template <>
inline constexpr bool isField<Bytes, Encoded> = true;
template <class Count, class First, class Second>
inline constexpr bool isField<Pairs<Count, First, Second>, std::vector<Pair<First, Second>>> =
    sizeof(Count) == sizeof(std::uint32_t); // the count of a vector

template <class Field>
constexpr bool mayBeMissing = false;
template <class Type>
inline constexpr bool mayBeMissing<Optional<Type>> = true;
template <class First, class Second>
inline constexpr bool mayBeMissing<MorePairs<First, Second>> = true;

// How much of a row values are: all its fields but those that may be missing, or the first of them.
enum class Extent : unsigned char { all, first };

// Whether values of the types are the fields of a row to that extent.
template <class... Left>
constexpr bool fits(Fields<Left...>, Fields<>, Extent extent) {
    return extent == Extent::first || (mayBeMissing<Left> && ...);
}
template <class Given, class... More>
constexpr bool fits(Fields<>, Fields<Given, More...>, Extent) {
    return false;
}
template <class Field, class... Left, class Given, class... More>
constexpr bool fits(Fields<Field, Left...>, Fields<Given, More...>, Extent extent) {
    return isField<Field, Given> && fits(Fields<Left...>(), Fields<More...>(), extent);
}

// A row without its first `count` fields.
template <std::size_t count, class First, class... Left>
constexpr auto without(Fields<First, Left...> row) {
    if constexpr (count == 0) {
        return row;
    } else {
        return without<count - 1>(Fields<Left...>());
    }
}

// Room is made once for all fields: growing would leave copies of secrets in freed memory.
template <class... Given>
void appendFields(std::string& payload, const Given&... given) {
    CommandStreamOut(payload).append(given...);
}
inline void appendFields(std::string& payload, const std::string_view& section, const Encoded& body) {
    payload.reserve(payload.size() + 4 + section.size() + body.bytes.size());
    CommandStreamOut(payload).append(section);
    payload += body.bytes;
}
inline void appendFields(std::string& payload, const Encoded& all) { payload += all.bytes; }

// Appends the request of a command: all its fields but those that may be missing, or these too.
template <Command command, class... Given>
void appendRequest(std::string& payload, const Given&... given) {
    static_assert(fits(RequestOf<command>(), Fields<Given...>(), Extent::all), "the row has another request");
    appendFields(payload, given...);
}

// Returns the reply to a command.
template <Command command, class... Given>
std::string encodeReply(const Given&... given) {
    static_assert(fits(ReplyOf<command>(), Fields<Given...>(), Extent::all), "the row has another reply");
    std::string reply;
    appendFields(reply, given...);
    return reply;
}

// Reads the first fields of a reply, or all of them. What follows is left alone.
template <Command command, class... Given>
void readReply(const std::string& reply, Given&... fields) {
    static_assert(fits(ReplyOf<command>(), Fields<Given...>(), Extent::first), "the row has another reply");
    CommandStreamIn in(reply);
    (in >> ... >> fields);
}

// The status byte that acting commands answer first: success is 1 and nothing else. An empty reply throws
// "CommandStreamError".
template <Command command>
bool readStatus(const std::string& reply) {
    bool done = false;
    readReply<command>(reply, done);
    return done;
}

} // namespace panelkit
