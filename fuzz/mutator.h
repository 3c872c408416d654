// SPDX-License-Identifier: MIT
//
// Mutations that know the fields: bytes of the command stream are read as far as they go, some fields are changed, and
// all are written again, with lengths and counts that fit. So most inputs get past the reader, to what uses the fields.
// Some are damaged afterwards, since the reader is to be tried too.
//
//   extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most, unsigned
//   seed) {
//       fuzz::Mutator mutator(seed);
//       return fuzz::store(mutator.changed<TokenInfo, std::string>(fuzz::text(data, size)), data, most);
//   }
#pragma once

#include <panelkit/bridge/payload.h>
#include <platform/system/secret.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

// libFuzzer's own mutation of plain bytes. The programs that only replay the corpus have one that changes nothing.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t most);

namespace fuzz {

inline std::string text(const std::uint8_t* data, std::size_t size) { return {data, data + size}; }

// Copies as much as fits; returns its size.
inline std::size_t store(std::string_view bytes, std::uint8_t* data, std::size_t most) {
    return bytes.copy(reinterpret_cast<char*>(data), most);
}

// What is left at the end, as it is.
struct Rest {
    std::string bytes;
};

namespace detail {

template <class Type>
struct ValueOf {
    using type = Type;
};
template <class Type>
struct ValueOf<panelkit::Optional<Type>> : ValueOf<Type> {};
template <class Count, class First, class Second>
struct ValueOf<panelkit::Pairs<Count, First, Second>> {
    using type = std::vector<panelkit::Pair<First, Second>>;
};
template <class First, class Second>
struct ValueOf<panelkit::MorePairs<First, Second>> {
    using type = Rest;
};
template <>
struct ValueOf<panelkit::Bytes> {
    using type = Rest;
};

template <class Type>
inline constexpr bool isList = false;
template <class Type>
inline constexpr bool isList<std::vector<Type>> = true;
template <class Type>
inline constexpr bool isList<std::list<Type>> = true;

// Calls `use` for each field that can be changed by itself: the parts of a record, a list, and what is in it.
template <class Type, class Use>
void eachField(Type& value, Use&& use) {
    if constexpr (Record<Type>) {
        Type::fields(value, [&](auto&... fields) { (eachField(fields, use), ...); });
    } else {
        use(value);
        if constexpr (isList<Type> && !std::is_same_v<Type, StringPairs>) {
            for (auto& element : value) eachField(element, use);
        }
    }
}

} // namespace detail

class Mutator {
public:
    explicit Mutator(unsigned seed) : random_(seed) {}

    // A number below the limit; 0 if that is 0.
    std::size_t below(std::size_t limit) { return limit == 0 ? 0 : (random_() >> 4U) % limit; }
    bool chance(std::size_t in) { return below(in) == 0; }

    // The bytes of these fields with some changes.
    template <class... Types>
    std::string changed(std::string_view bytes) {
        return changedRow(panelkit::Fields<Types...>(), bytes);
    }

    // The same for a row of the command table.
    template <class... Types>
    std::string changedRow(panelkit::Fields<Types...>, std::string_view bytes) {
        std::tuple<typename detail::ValueOf<Types>::type...> values;
        readInto(values, bytes);
        for (std::size_t changes = 1 + below(3); changes > 0; --changes) changeOne(values);
        std::string written;
        std::apply([&](const auto&... value) { (write(written, value), ...); }, values);
        return chance(8) ? damaged(std::move(written)) : written;
    }
    std::string changedRow(panelkit::Unread, std::string_view bytes) { return damaged(std::string(bytes)); }

    // Any bytes, changed anywhere.
    std::string damaged(std::string bytes) {
        const std::size_t size = bytes.size();
        bytes.resize(size + 64);
        bytes.resize(LLVMFuzzerMutate(reinterpret_cast<std::uint8_t*>(bytes.data()), size, bytes.size()));
        return bytes;
    }

private:
    template <class Values>
    static void readInto(Values& values, std::string_view bytes) {
        CommandStreamIn in(bytes.data(), bytes.size(), CommandStreamIn::Counts::mustFit);
        try {
            std::apply([&](auto&... value) { (read(in, value), ...); }, values);
        } catch (const char*) { // the stream's error: the others keep their defaults
        }
    }
    template <class Type>
    static void read(CommandStreamIn& in, Type& value) {
        in >> value;
    }
    static void read(CommandStreamIn& in, Rest& rest) { rest.bytes = in.rest(); }
    template <class Type>
    static void write(std::string& to, const Type& value) {
        CommandStreamOut(to).append(value);
    }
    static void write(std::string& to, const Rest& rest) { to += rest.bytes; }

    template <class Values>
    void changeOne(Values& values) {
        std::size_t count = 0;
        const auto each = [&](auto&& use) {
            std::apply([&](auto&... value) { (detail::eachField(value, use), ...); }, values);
        };
        each([&](auto&) { ++count; });
        std::size_t place = below(count);
        each([&](auto& field) {
            if (place-- == 0) change(field);
        });
    }

    void change(bool& flag) { flag = !flag; }
    void change(std::string& field) { field = damaged(std::move(field)); }
    void change(platform::Secret& secret) { secret.take(damaged(std::string(secret.view()))); }
    void change(Rest& rest) { rest.bytes = damaged(std::move(rest.bytes)); }
    void change(StringPairs& pairs) {
        if (pairs.empty() || chance(4)) return void(pairs.emplace_back("name", "value"));
        if (chance(4)) return pairs.pop_front();
        change(chance(2) ? pairs.front().first : pairs.front().second);
    }
    template <platform::WireInteger Number>
    void change(Number& number) {
        constexpr std::uint64_t edges[] = {0, 1, 2, 0x7F, 0xFF, 0xFFFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, ~0ULL};
        auto bits = static_cast<std::uint64_t>(number);
        switch (below(5)) {
        case 0: bits = edges[below(std::size(edges))]; break;
        case 1: bits = below(64); break;
        case 2: bits ^= std::uint64_t{1} << below(8 * sizeof bits); break;
        case 3: ++bits; break;
        default: --bits; break;
        }
        number = static_cast<Number>(bits);
    }
    template <class List>
    requires detail::isList<List>
    void change(List& list) {
        const auto place = std::next(list.begin(), static_cast<std::ptrdiff_t>(below(list.size())));
        if (list.empty() || chance(3)) {
            list.emplace_back();
        } else if (chance(2)) {
            list.erase(place);
        } else if (list.size() < 64) {
            auto copy = *place;
            list.insert(place, std::move(copy));
        }
    }

    std::minstd_rand random_;
};

// Changes some bytes of a row of the command table.
using RowChange = std::string (*)(Mutator& mutator, std::string_view bytes);

// One for each command, by Command. RowOf is panelkit::RequestOf or panelkit::ReplyOf.
template <template <panelkit::Command> class RowOf>
inline constexpr auto rowChanges = []<std::size_t... place>(std::index_sequence<place...>) {
    return std::array<RowChange, sizeof...(place)>{[](Mutator& mutator, std::string_view bytes) {
        return mutator.changedRow(RowOf<static_cast<panelkit::Command>(place)>(), bytes);
    }...};
}
(std::make_index_sequence<panelkit::commandTable.size()>());

} // namespace fuzz
