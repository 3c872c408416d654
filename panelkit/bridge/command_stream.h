// SPDX-License-Identifier: MIT
//
// The command stream: every request to a module of the service and every reply is a flat byte string
// without header, alignment or padding, made of these parts (all integers little-endian):
//
//   integer        2, 4 or 8 bytes; enumerations and flags as 4
//   boolean        1 byte; written as 1 or 0, read as true only when it is 1
//   string         4-byte length, then the bytes (text is UTF-8; a blob has the same form)
//   vector         4-byte count, then the elements
//   list of pairs  4-byte count, then (string, string) each
//   list           of records: 4-byte count, then the records
//   record         its fields in the order of the record's `fields` list
//
// CommandStreamOut appends to a byte string of the caller; CommandStreamIn walks one. Neither is shared
// between threads while in use. The primitives are those of platform/stream/stream.h.
//
//   std::string request;
//   CommandStreamOut(request) << token << pin << true;
//
//   CommandStreamIn reply(bytes, 1);          // after a status byte
//   PKCS11::ProviderInfo provider;
//   reply >> provider;                        // throws the text "CommandStreamError" when it ends early
#pragma once

#include <panelkit/bridge/record.h>
#include <platform/stream/stream.h>

#include <algorithm>
#include <list>
#include <utility>
#include <vector>

// The list form of the stream. Unlike a vector it is emptied before it is read.
using StringPairs = std::list<std::pair<std::string, std::string>>;

using platform::WireInteger;

// Appends primitives and records to a byte string that the caller owns. Throws only std::bad_alloc. A field may be the
// byte string itself, or contain it: its content before the call is appended then.
class CommandStreamOut : private platform::StreamOut {
public:
    using StreamOut::StreamOut;

    // Appends the fields in order. Their size is computed first, so the string grows at most once. A request that
    // carries a secret is written by one such call: growing twice would leave a copy of the secret in freed memory.
    template <class... Fields>
    CommandStreamOut& append(const Fields&... fields) {
        appendAs<CommandStreamOut>(fields...);
        return *this;
    }

    template <class Field>
    CommandStreamOut& operator<<(const Field& field) {
        return append(field);
    }

private:
    friend StreamOut; // calls sizeOf, put and liesIn

    using StreamOut::liesIn;
    using StreamOut::put;
    using StreamOut::sizeOf;
    using StreamOut::write;

    template <class T>
    static std::size_t sizeOf(const std::vector<T>& elements) {
        if constexpr (WireInteger<T>) return 4 + elements.size() * sizeof(T);
        std::size_t size = 4;
        for (const T& element : elements) size += sizeOf(element);
        return size;
    }
    static std::size_t sizeOf(const StringPairs& pairs) {
        std::size_t size = 4;
        for (const auto& [name, value] : pairs) size += sizeOf(name) + sizeOf(value);
        return size;
    }
    template <Record R>
    static std::size_t sizeOf(const std::list<R>& records) {
        std::size_t size = 4;
        for (const R& record : records) size += sizeOf(record);
        return size;
    }
    template <Record R>
    static std::size_t sizeOf(const R& record) {
        return R::fields(record, [](const auto&... field) { return (std::size_t{0} + ... + sizeOf(field)); });
    }

    // Lists are long, so their bytes are made for one element after the other.
    template <class Codec, class T>
    static void write(Growth& growth, const std::vector<T>& elements) {
        growth.reach(4);
        put(growth.place, static_cast<std::uint32_t>(elements.size()));
        for (const T& element : elements) {
            growth.reach(sizeOf(element));
            put(growth.place, element);
        }
    }

    template <class T>
    static void put(char*& place, const std::vector<T>& elements) {
        put(place, static_cast<std::uint32_t>(elements.size()));
        for (const T& element : elements) put(place, element);
    }
    static void put(char*& place, const StringPairs& pairs) {
        put(place, static_cast<std::uint32_t>(pairs.size()));
        for (const auto& [name, value] : pairs) {
            put(place, name);
            put(place, value);
        }
    }
    template <Record R>
    static void put(char*& place, const std::list<R>& records) {
        put(place, static_cast<std::uint32_t>(records.size()));
        for (const R& record : records) put(place, record);
    }
    template <Record R>
    static void put(char*& place, const R& record) {
        R::fields(record, [&](const auto&... field) { (put(place, field), ...); });
    }

    template <class T>
    static bool liesIn(const std::string& bytes, const std::vector<T>& elements) {
        if constexpr (WireInteger<T>) return false;
        return anyLiesIn(bytes, elements);
    }
    template <Record R>
    static bool liesIn(const std::string& bytes, const std::list<R>& records) {
        return anyLiesIn(bytes, records);
    }
    static bool liesIn(const std::string& bytes, const StringPairs& pairs) {
        return std::any_of(pairs.begin(), pairs.end(),
                           [&](const auto& pair) { return liesIn(bytes, pair.first) || liesIn(bytes, pair.second); });
    }
    template <Record R>
    static bool liesIn(const std::string& bytes, const R& record) {
        return R::fields(record, [&](const auto&... field) { return (false || ... || liesIn(bytes, field)); });
    }
    static bool anyLiesIn(const std::string& bytes, const auto& elements) {
        return std::any_of(elements.begin(), elements.end(), [&](const auto& e) { return liesIn(bytes, e); });
    }
};

// Walks a byte string, which must outlive it, and fills the caller's variables in place.
//
// Every read moves the position first and throws "CommandStreamError" when the position is then past the end. The
// variable of the read that failed keeps its value; those filled before keep their new values. Each later read throws
// again. Trailing bytes are ignored.
class CommandStreamIn : public platform::StreamIn {
public:
    using StreamIn::StreamIn;
    explicit CommandStreamIn(const std::string& bytes, std::uint64_t position = 0)
        : StreamIn(bytes.data(), bytes.size(), position) {}
    CommandStreamIn(const std::string& bytes, Counts counts) : StreamIn(bytes.data(), bytes.size(), counts) {}
    explicit CommandStreamIn(std::string&&, std::uint64_t = 0) = delete; // would dangle
    CommandStreamIn(std::string&&, Counts) = delete;

    template <platform::WirePrimitive T>
    CommandStreamIn& operator>>(T& value) {
        read(value);
        return *this;
    }

    // Resizes to the count first, then fills in place: existing elements are reused. When the reply ends early, those
    // that did arrive are filled and the others have default values. A count that can't fit is refused at once when its
    // elements would take more than 16 MiB; the vector then keeps its content.
    template <class T>
    CommandStreamIn& operator>>(std::vector<T>& elements) {
        elements.resize(countOf<T>(sizeof(T)));
        for (T& element : elements) *this >> element;
        return *this;
    }

    // As a vector: the list is cut or lengthened at its end to the count, then filled in place.
    template <Record R>
    CommandStreamIn& operator>>(std::list<R>& records) {
        records.resize(countOf<R>(sizeof(R) + 2 * sizeof(void*)));
        for (R& record : records) *this >> record;
        return *this;
    }

    // Empties the list, then appends pair by pair.
    CommandStreamIn& operator>>(StringPairs& pairs) {
        const std::uint32_t count = readCount<std::uint32_t>(2 * leastWireSize<std::string>());
        pairs.clear();
        for (std::uint32_t i = 0; i < count; ++i) {
            std::pair<std::string, std::string> pair;
            *this >> pair.first >> pair.second;
            pairs.push_back(std::move(pair));
        }
        return *this;
    }

    template <Record R>
    CommandStreamIn& operator>>(R& record) {
        R::fields(record, [this](auto&... field) { (*this >> ... >> field); });
        return *this;
    }

private:
    template <class T>
    std::uint32_t countOf(std::size_t memory) {
        return readCount<std::uint32_t>(leastWireSize<T>(), memory);
    }
};
