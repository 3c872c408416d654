// SPDX-License-Identifier: MIT
//
// The primitives of everything that is sent between our programs: handshakes and frame headers of the bridge, and the
// records of its payloads (panelkit/bridge/command_stream.h adds these). No header, no alignment, no padding; integers
// are little-endian.
//
//   integer   2, 4 or 8 bytes; enumerations as 4
//   boolean   1 byte; written as 1 or 0, read as true only when it is 1
//   string    4-byte length, then the bytes
//   count     4 bytes, before the elements of a list
//
//   std::string body;
//   platform::StreamOut(body).append(version, role, name);
//
//   platform::StreamIn in(body.data(), body.size());
//   in.read(version, role, name); // throws the text "CommandStreamError" when the bytes end early
//
// Neither class is shared between threads while in use. Everything is inline, so that front ends can use it too.
#pragma once

#include <platform/stream/little_endian.h>
#include <platform/system/wipe.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace platform {

template <class T>
concept WireInteger = std::is_same_v<T, std::uint16_t> || std::is_same_v<T, std::uint32_t> ||
    std::is_same_v<T, std::int32_t> || std::is_same_v<T, std::uint64_t> || std::is_same_v<T, std::int64_t> ||
    (std::is_enum_v<T> && sizeof(T) == 4);

// The types that a stream carries itself; all others are made of these.
template <class T>
concept WirePrimitive = WireInteger<T> || std::is_same_v<T, bool> || std::is_same_v<T, std::string>;

// Throws the text "CommandStreamError": a plain `const char*`, caught as that or with a catch-all. Out of line and
// cold, so that the readers that call it stay small.
[[noreturn, gnu::noinline, gnu::cold]] inline void throwStreamError() {
    static const char* const streamError = "CommandStreamError";
    // NOLINTNEXTLINE(cert-err*,misc-throw-by-value-catch-by-reference): the pointer itself is the exception
    throw streamError;
}

// Appends primitives to a byte string that the caller owns. Throws only std::bad_alloc. A field may be the byte string
// itself, or a view of it: its content before the call is appended then.
class StreamOut {
public:
    explicit StreamOut(std::string& bytes) : bytes_(bytes) {}

    // Called with the memory of a string that is about to grow by 4 MiB or more, before it is written; null does
    // nothing. A program sets it before it starts threads, for example to ask for large pages.
    static inline void (*beforeLargeGrowth)(void* memory, std::size_t size) = nullptr;
    static constexpr std::size_t largeGrowth = std::size_t{4} << 20;

    // Appends the fields in order. Their size is computed first, so the string grows at most once. Data with a secret
    // is written by one such call: growing twice would leave a copy of the secret in freed memory.
    template <class... Fields>
    StreamOut& append(const Fields&... fields) {
        appendAs<StreamOut>(fields...);
        return *this;
    }

    // The number of bytes of a field.
    template <WireInteger T>
    static constexpr std::size_t sizeOf(T) {
        return sizeof(T);
    }
    template <class T>
    requires std::is_same_v<T, bool>
    static constexpr std::size_t sizeOf(T) { return 1; }
    static std::size_t sizeOf(std::string_view text) { return 4 + text.size(); }
    static std::size_t sizeOf(const std::string& text) { return 4 + text.size(); }

    // Writes a field at `place`, where there must be room for it, and moves `place` past it.
    template <WireInteger T>
    static void put(char*& place, T value) {
        storeLittleEndian(place, value);
        place += sizeof(T);
    }
    template <class T>
    requires std::is_same_v<T, bool>
    static void put(char*& place, T value) { *place++ = value ? 1 : 0; }
    static void put(char*& place, std::string_view text) {
        put(place, static_cast<std::uint32_t>(text.size()));
        text.copy(place, text.size()); // which takes a null pointer to no bytes
        place += text.size();
    }
    static void put(char*& place, const std::string& text) { put(place, std::string_view(text)); }

    // Whether a field lies in `bytes`, so that it changes while they grow.
    template <class T>
    requires WireInteger<T> || std::is_same_v<T, bool>
    static constexpr bool liesIn(const std::string& /*bytes*/, T) { return false; }
    static bool liesIn(const std::string& bytes, std::string_view text) {
        const std::less_equal<> notAfter;
        return notAfter(bytes.data(), text.data()) && notAfter(text.data(), bytes.data() + bytes.size());
    }
    static bool liesIn(const std::string& bytes, const std::string& text) { return &text == &bytes; }

protected:
    // The end of a byte string that is about to grow by a known size. It gets the memory at once, but its size grows in
    // steps, each just before it is written. Growing to the full size fills the string with zeros, and those of a large
    // one have left the processor's cache when the fields are written; so have those of larger steps, since memset
    // writes them past the cache.
    class Growth {
    public:
        static constexpr std::size_t step = 1024;

        Growth(std::string& bytes, std::size_t size) : bytes_(bytes), left_(size) {
            const std::size_t start = bytes.size();
            bytes.reserve(start + size);
            place = reached_ = bytes.data() + start;
            if (size >= largeGrowth && beforeLargeGrowth) beforeLargeGrowth(place, size);
        }

        // There must be `size` bytes at `place`.
        void reach(std::size_t size) {
            if (static_cast<std::size_t>(reached_ - place) < size) grow(size);
        }

        char* place = nullptr; // where the next field is written

    private:
        void grow(std::size_t size) {
            const std::size_t missing = size - static_cast<std::size_t>(reached_ - place);
            const std::size_t more = std::min(std::max(missing, step), left_);
            bytes_.resize(bytes_.size() + more);
            reached_ += more;
            left_ -= more;
        }

        std::string& bytes_;
        char* reached_ = nullptr;
        std::size_t left_; // not reached yet
    };

    // Appends fields with the sizeOf, put, write and liesIn of a class that knows more kinds of fields.
    template <class Codec, class... Fields>
    void appendAs(const Fields&... fields) {
        if ((false || ... || Codec::liesIn(bytes_, fields))) return appendCopyOf<Codec>(fields...);
        [[maybe_unused]] Growth growth(bytes_, (std::size_t{0} + ... + Codec::sizeOf(fields))); // unused without fields
        (Codec::template write<Codec>(growth, fields), ...);
    }

    template <class Codec, class Field>
    static void write(Growth& growth, const Field& field) {
        growth.reach(Codec::sizeOf(field));
        Codec::put(growth.place, field);
    }
    template <class Codec>
    static void write(Growth& growth, const std::string& text) {
        write<Codec>(growth, std::string_view(text));
    }
    template <class Codec>
    static void write(Growth& growth, std::string_view text) {
        growth.reach(4);
        put(growth.place, static_cast<std::uint32_t>(text.size()));
        for (std::string_view part; !text.empty(); text.remove_prefix(part.size())) {
            part = text.substr(0, Growth::step);
            growth.reach(part.size());
            growth.place += part.copy(growth.place, part.size());
        }
    }

private:
    template <class Codec, class... Fields>
    void appendCopyOf(const Fields&... fields) {
        std::string copy;
        const WipeOnExit wiped(copy);
        StreamOut(copy).appendAs<Codec>(fields...);
        bytes_ += copy;
    }

    std::string& bytes_;
};

// Walks a byte string, which must outlive it, and fills the caller's variables in place.
//
// Every read moves the position first and throws "CommandStreamError" when the position is then past the end. The
// variable of the read that failed keeps its value; those filled before keep their new values. Each later read throws
// again. Trailing bytes are ignored.
class StreamIn {
public:
    // How a count of elements is checked before memory is allocated for them. `asTheyStand`, for replies: a count that
    // can't fit into the remaining bytes is refused only when its elements would take more than `mostForUnfit` bytes of
    // memory; else they are made, and those that did arrive are read. `mustFit`, for a service that reads requests: not
    // more elements than can fit into the remaining bytes.
    enum class Counts : unsigned char { asTheyStand, mustFit };
    static constexpr std::uint64_t mostForUnfit = std::uint64_t{16} << 20;

    StreamIn(const void* bytes, std::uint64_t size, std::uint64_t position = 0)
        : size_(size),
          left_(position <= size ? static_cast<std::int64_t>(size - position) : -1),
          end_(position + static_cast<std::uint64_t>(left_)),
          next_(static_cast<const char*>(bytes) + (position <= size ? position : 0)) {}

    StreamIn(const void* bytes, std::uint64_t size, Counts counts) : StreamIn(bytes, size) { counts_ = counts; }

    std::uint64_t size() const { return size_; }
    std::uint64_t position() const { return end_ - static_cast<std::uint64_t>(left_); }

    // The bytes that are not read yet.
    std::string_view rest() const {
        return left_ > 0 ? std::string_view(next_, static_cast<std::size_t>(left_)) : std::string_view();
    }

    template <WireInteger T>
    void read(T& value) {
        value = loadLittleEndian<T>(take(sizeof(T)));
    }
    void read(bool& value) { value = *take(1) == 1; }

    // Keeps embedded zero bytes. A string that is large enough is reused; otherwise one of the exact size is made.
    void read(std::string& text) {
        const std::string_view bytes = readView();
        if (bytes.size() == text.size()) [[likely]] {
            bytes.copy(text.data(), bytes.size());
        } else if (text.capacity() == std::string().capacity()) {
            makeAgain(text, bytes);
        } else {
            replace(text, bytes);
        }
    }

    // Reads several fields in order.
    template <class... Fields>
    requires(sizeof...(Fields) > 1) void read(Fields&... fields) { (read(fields), ...); }

    // Reads a string as a view of the bytes, without copying it.
    std::string_view readView() {
        std::uint32_t length = 0;
        read(length);
        return {take(length), length};
    }

    void skip(std::uint32_t bytes) { take(bytes); }

    // Reads a count of elements and refuses it, before memory is allocated, as `Counts` says. `elementSize` is the
    // least size of an element in the stream, `elementMemory` what the caller allocates for each at once: 0 when it
    // makes an element only when the element is read, and then a count above the number of bytes after it is refused.
    // Some counts have a sign: readCount<std::int32_t>; a negative one means 0.
    template <WireInteger Count = std::uint32_t>
    std::uint32_t readCount(std::size_t elementSize = 1, std::size_t elementMemory = 0) {
        Count number = 0;
        read(number);
        const std::uint32_t count = number > 0 ? static_cast<std::uint32_t>(number) : 0;
        const auto left = static_cast<std::uint64_t>(left_);
        const bool fits = count <= left / elementSize;
        const bool isLenient = counts_ == Counts::asTheyStand;
        const bool isSmall = elementMemory == 0 ? count <= left : count * std::uint64_t{elementMemory} <= mostForUnfit;
        if (!fits && !(isLenient && isSmall)) throwStreamError();
        return count;
    }

private:
    // Both functions that give a text another size are out of line. So a text that has its size already, as in records
    // that are filled again, takes a comparison and a copy, without the registers and the stack of the other cases.

    // The text owns memory.
    [[gnu::noinline]] static void replace(std::string& text, std::string_view bytes) {
        if (bytes.size() <= text.capacity()) {
            text.assign(bytes.data(), bytes.size());
        } else {
            text = std::string(bytes.data(), bytes.size());
        }
    }

    // Makes a text again in its place. It owns no memory yet, as in a new record, where this is most of the work:
    // assigning would look at what is there, and moving a new text to it would copy the text's own bytes twice.
    [[gnu::noinline]] static void makeAgain(std::string& text, std::string_view bytes) {
        std::destroy_at(&text);
        try {
            std::construct_at(&text, bytes.data(), bytes.size());
        } catch (...) {
            std::construct_at(&text);
            throw;
        }
    }

    // The only place that checks bounds. `left_` is lowered first and stays negative, so every later read throws again,
    // even a read of 0 bytes. It can't overflow: no stream reads 2^63 bytes.
    const char* take(std::uint32_t need) {
        left_ -= need;
        if (left_ < 0) throwStreamError();
        const char* bytes = next_;
        next_ += need;
        return bytes;
    }

    std::uint64_t size_;
    std::int64_t left_; // after the position; negative once a read has run past the end
    std::uint64_t end_; // the position at which nothing would be left
    const char* next_;
    Counts counts_ = Counts::asTheyStand;
};

} // namespace platform
