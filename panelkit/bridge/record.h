// SPDX-License-Identifier: MIT
//
// A record of the command stream is a plain struct that lists its wire fields once, for both reading and writing.
//
//   struct PinStateMessage {
//       std::string title, text;
//       static auto fields(auto& self, auto&& io) { return io(self.title, self.text); }
//   };
//   static_assert(RecordListsEveryMember<PinStateMessage>);
//
// The assertion after each record makes a forgotten field fail to compile. A record whose wire form is not exactly its
// members states the difference in number of fields in `fieldsBeyondMembers`.
#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

namespace panelkit::detail {

struct CountFields {
    template <class... Fields>
    constexpr auto operator()(Fields&...) const {
        return std::integral_constant<std::size_t, sizeof...(Fields)>{};
    }
};

// Converts to anything: the number of them that can initialise an aggregate is its number of members.
struct AnyMember {
    template <class T>
    operator T() const; // NOLINT(google-explicit-constructor): converting is its whole purpose
};

template <class T, class... Members>
constexpr std::size_t countMembers() {
    if constexpr (requires { T{std::declval<Members>()..., AnyMember{}}; }) {
        return countMembers<T, Members..., AnyMember>();
    } else {
        return sizeof...(Members);
    }
}

} // namespace panelkit::detail

template <class T>
concept Record = std::is_class_v<T> && requires(T& record) {
    T::fields(record, panelkit::detail::CountFields{});
};

// The number of fields that a record lists.
template <class R>
constexpr std::size_t listedFields = decltype(R::fields(std::declval<R&>(), panelkit::detail::CountFields{}))::value;

// The smallest size of a value in the stream, in bytes: its integers, flags and the lengths of its texts and lists.
template <class T>
constexpr std::size_t leastWireSize();

namespace panelkit::detail {

struct AddLeastSizes {
    template <class... Fields>
    constexpr auto operator()(Fields&...) const {
        return std::integral_constant<std::size_t, (leastWireSize<std::remove_const_t<Fields>>() + ... + 0)>{};
    }
};

} // namespace panelkit::detail

template <class T>
constexpr std::size_t leastWireSize() {
    if constexpr (Record<T>) {
        return decltype(T::fields(std::declval<T&>(), panelkit::detail::AddLeastSizes{}))::value;
    } else if constexpr (std::is_integral_v<T> || std::is_enum_v<T>) {
        return sizeof(T);
    } else {
        return 4; // the length of a text, the count of a list
    }
}

// Whether a record lists as many fields as it has members, apart from `fieldsBeyondMembers`.
template <class R>
constexpr bool RecordListsEveryMember = [] {
    if constexpr (requires { R::fieldsBeyondMembers; }) {
        return static_cast<int>(listedFields<R>) ==
               static_cast<int>(panelkit::detail::countMembers<R>()) + R::fieldsBeyondMembers;
    } else {
        return listedFields<R> == panelkit::detail::countMembers<R>();
    }
}();
