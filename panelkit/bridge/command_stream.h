// SPDX-License-Identifier: MIT
//
// The command stream: every request to a module of the service and every reply is a flat byte string
// without header, alignment or padding, made of these primitives (all integers little-endian):
//
//   integer        2, 4 or 8 bytes; enumerations and flags as 4
//   boolean        1 byte; written as 1 or 0, read as true only when it is 1
//   string         4-byte length, then the bytes (text is UTF-8; blobs are carried alike)
//   vector         4-byte count, then the elements
//   list of pairs  4-byte count, then (string, string) each
//   list           of records: 4-byte count, then the records
//   record         its fields in the order of the record's `fields` list
//
// CommandStreamOut appends to a byte string of the caller; CommandStreamIn walks one. Neither is shared
// between threads while in use.
//
//   std::string request;
//   CommandStreamOut(request) << token << pin << true;
//
//   CommandStreamIn reply(bytes, 1);          // behind a status byte
//   PKCS11::ProviderInfo provider;
//   reply >> provider;                        // throws the text "CommandStreamError" when it ends early
#pragma once

#include <panelkit/bridge/record.h>
#include <platform/export.h>
#include <platform/system/little_endian.h>

#include <cstdint>
#include <cstring>
#include <list>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

// The list form of the stream. Unlike a vector it is emptied before it is read.
using StringPairs = std::list<std::pair<std::string, std::string>>;

template <class T>
concept WireInteger = std::is_same_v<T, std::uint16_t> || std::is_same_v<T, std::uint32_t> ||
    std::is_same_v<T, std::int32_t> || std::is_same_v<T, std::uint64_t> || std::is_same_v<T, std::int64_t> ||
    (std::is_enum_v<T> && sizeof(T) == 4);

// Throws the text "CommandStreamError": a plain `const char*`, caught as that or with a catch-all.
[[noreturn]] PANELKIT_EXPORT void throwCommandStreamError();

// Appends primitives and records to a byte string that the caller owns. Fails only for want of memory.
class CommandStreamOut {
public:
    explicit CommandStreamOut(std::string& bytes) : bytes_(bytes) {}

    // Appends the fields in order: their size is taken first, so the string grows at most once. A request
    // that carries a secret is written by one such call, which leaves no copy behind in freed memory.
    template <class... Fields>
    CommandStreamOut& append(const Fields&... fields) {
        const std::size_t start = bytes_.size();
        bytes_.resize(start + (std::size_t{0} + ... + sizeOf(fields)));
        char* place = bytes_.data() + start;
        (put(place, fields), ...);
        return *this;
    }

    template <class Field>
    CommandStreamOut& operator<<(const Field& field) {
        return append(field);
    }

private:
    template <WireInteger T>
    static constexpr std::size_t sizeOf(T) {
        return sizeof(T);
    }
    template <class T>
    requires std::is_same_v<T, bool>
    static constexpr std::size_t sizeOf(T) { return 1; }
    static std::size_t sizeOf(std::string_view text) { return 4 + text.size(); }
    static std::size_t sizeOf(const std::string& text) { return 4 + text.size(); }
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

    template <WireInteger T>
    static void put(char*& place, T value) {
        platform::storeLittleEndian(place, value);
        place += sizeof(T);
    }
    template <class T>
    requires std::is_same_v<T, bool>
    static void put(char*& place, T value) { *place++ = value ? 1 : 0; }
    static void put(char*& place, std::string_view text) {
        put(place, static_cast<std::uint32_t>(text.size()));
        std::memcpy(place, text.data(), text.size());
        place += text.size();
    }
    static void put(char*& place, const std::string& text) { put(place, std::string_view(text)); }
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

    std::string& bytes_;
};

// Walks a byte string, which must outlive it, and fills the caller's variables in place.
//
// Every read moves the position first and throws "CommandStreamError" when it then lies behind the end; what
// was to be filled keeps its value, earlier fields keep their new ones, and a later read throws again. Bytes
// left over behind the last read are nobody's concern.
class CommandStreamIn {
public:
    // How a count of elements is judged before memory is taken for them. A reply is read as it stands, up to a count of
    // one element for each byte that is left. A service that reads requests of others refuses what can't be true: a
    // count of more elements than fit into the bytes that are left.
    enum class Counts : unsigned char { asTheyStand, mustFit };

    CommandStreamIn(const void* bytes, std::uint64_t size, std::uint64_t position = 0)
        : size_(size),
          left_(position <= size ? static_cast<std::int64_t>(size - position) : -1),
          end_(position + static_cast<std::uint64_t>(left_)),
          next_(static_cast<const char*>(bytes) + (position <= size ? position : 0)) {}
    explicit CommandStreamIn(const std::string& bytes, std::uint64_t position = 0)
        : CommandStreamIn(bytes.data(), bytes.size(), position) {}
    CommandStreamIn(const std::string& bytes, Counts counts) : CommandStreamIn(bytes) { counts_ = counts; }
    explicit CommandStreamIn(std::string&&, std::uint64_t = 0) = delete; // would dangle
    CommandStreamIn(std::string&&, Counts) = delete;

    std::uint64_t size() const { return size_; }
    std::uint64_t position() const { return end_ - static_cast<std::uint64_t>(left_); }

    // What is not read yet.
    std::string_view rest() const {
        return left_ > 0 ? std::string_view(next_, static_cast<std::size_t>(left_)) : std::string_view();
    }

    template <WireInteger T>
    CommandStreamIn& operator>>(T& value) {
        value = platform::loadLittleEndian<T>(take(sizeof(T)));
        return *this;
    }

    CommandStreamIn& operator>>(bool& value) {
        value = *take(1) == 1;
        return *this;
    }

    // Keeps embedded zero bytes; a string that is large enough is reused, another is made with its exact size.
    CommandStreamIn& operator>>(std::string& text) {
        std::uint32_t length = 0;
        *this >> length;
        const char* bytes = take(length);
        if (length == text.size()) {
            std::memcpy(text.data(), bytes, length);
        } else if (length <= text.capacity()) {
            text.assign(bytes, length);
        } else {
            text = std::string(bytes, length);
        }
        return *this;
    }

    // Resizes to the count first, then fills in place: elements that were there are reused.
    template <class T>
    CommandStreamIn& operator>>(std::vector<T>& elements) {
        elements.resize(countOf<T>());
        for (T& element : elements) *this >> element;
        return *this;
    }

    // As a vector: the list is cut or lengthened at its end to the count, then filled in place.
    template <Record R>
    CommandStreamIn& operator>>(std::list<R>& records) {
        records.resize(countOf<R>());
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

    // Reads a count of elements, each of which takes at least `elementSize` bytes. One that is larger than the number
    // of bytes after it can belong to no well-formed reply and is refused before anything is allocated for it. Some
    // counts have a sign: readCount<std::int32_t>; below zero such a one says the same as zero, that there is nothing.
    template <WireInteger Count = std::uint32_t>
    std::uint32_t readCount(std::size_t elementSize = 1) {
        Count count = 0;
        *this >> count;
        const std::int64_t least = counts_ == Counts::mustFit ? static_cast<std::int64_t>(elementSize) : 1;
        if (count > left_ / least) throwCommandStreamError();
        return count > 0 ? static_cast<std::uint32_t>(count) : 0;
    }

private:
    template <class T>
    std::uint32_t countOf() {
        return readCount<std::uint32_t>(leastWireSize<T>());
    }

    // The one bounds gate. What is left is lowered first and stays below zero once it is, so a later read, even one of
    // nothing, throws again; 2^63 bytes are never asked for in one stream's life.
    const char* take(std::uint32_t need) {
        left_ -= need;
        if (left_ < 0) throwCommandStreamError();
        const char* bytes = next_;
        next_ += need;
        return bytes;
    }

    std::uint64_t size_;
    std::int64_t left_; // behind the position; below zero when that is behind the end
    std::uint64_t end_; // the position at which nothing would be left
    const char* next_;
    Counts counts_ = Counts::asTheyStand;
};
