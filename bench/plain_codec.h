// SPDX-License-Identifier: MIT
//
// The reference of all measurements of codecs: a codec that works field by field in the simplest way (check, then
// assign; append, then append), and the listing of tokens and certificates that every codec reads and writes. Its bytes
// are those of the command stream.
#pragma once

#include <bench/side_by_side.h>

#include <panelkit/certs/cert_records.h>
#include <panelkit/tokens/token_records.h>

#include <malloc.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

struct Entry {
    PKCS11::TokenInfo token;
    CertInfo certificate;

    static auto fields(auto& self, auto&& io) { return io(self.token, self.certificate); }
    bool operator==(const Entry&) const = default;
};
using Listing = std::vector<Entry>;

inline Listing listingOf(std::size_t count) {
    Listing listing(count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::string number = std::to_string(i);
        listing[i] = {
            {i, "Office token " + number, "SERIAL-" + number, "Manufacturer, model of the token", "embedded", 7},
            {"CN=Employee " + number + ",OU=Department,O=Organisation,C=DE", "CN=Issuing CA 3,O=Organisation,C=DE",
             "00" + number, std::string(64, 'A'), 1, 2, 0, 2048, true, 0, 5, 16}};
    }
    return listing;
}

struct PlainReader {
    const char* at;
    const char* end;

    template <class T>
    void number(T& value) {
        if (end - at < static_cast<std::ptrdiff_t>(sizeof value)) throw std::runtime_error("short");
        std::memcpy(&value, at, sizeof value);
        at += sizeof value;
    }
    void flag(bool& value) {
        std::uint8_t byte = 0;
        number(byte);
        value = byte == 1;
    }
    void text(std::string& value) {
        std::uint32_t size = 0;
        number(size);
        if (end - at < static_cast<std::ptrdiff_t>(size)) throw std::runtime_error("short");
        value.assign(at, size);
        at += size;
    }
};

struct PlainWriter {
    std::string& to;

    template <class T>
    void number(const T& value) {
        char bytes[sizeof value];
        std::memcpy(bytes, &value, sizeof value);
        to.append(bytes, sizeof value);
    }
    void flag(bool value) { to.push_back(value ? 1 : 0); }
    void text(const std::string& value) {
        number(static_cast<std::uint32_t>(value.size()));
        to.append(value);
    }
};

template <class Codec, class AnyEntry>
void plainFields(Codec& codec, AnyEntry& entry) {
    codec.number(entry.token.slotId);
    codec.text(entry.token.text1);
    codec.text(entry.token.text2);
    codec.text(entry.token.text3);
    codec.text(entry.token.text4);
    codec.number(entry.token.flags);
    codec.text(entry.certificate.subject);
    codec.text(entry.certificate.issuer);
    codec.text(entry.certificate.serialNumber);
    codec.text(entry.certificate.fingerprint);
    codec.number(entry.certificate.notBefore);
    codec.number(entry.certificate.notAfter);
    codec.number(entry.certificate.keyType);
    codec.number(entry.certificate.keyBits);
    codec.flag(entry.certificate.hasPrivateKey);
    codec.number(entry.certificate.state);
    codec.number(entry.certificate.keyUsage);
    codec.number(entry.certificate.flags);
}

inline void plainDecode(const std::string& bytes, Listing& listing) {
    PlainReader reader{bytes.data(), bytes.data() + bytes.size()};
    std::uint32_t count = 0;
    reader.number(count);
    listing.resize(count);
    for (Entry& entry : listing) plainFields(reader, entry);
}

inline void plainEncode(const Listing& listing, std::string& bytes) {
    PlainWriter writer{bytes};
    writer.number(static_cast<std::uint32_t>(listing.size()));
    for (const Entry& entry : listing) plainFields(writer, entry);
}

// A codec's two directions.
using Decode = void (*)(const std::string& bytes, Listing& listing);
using Encode = void (*)(const Listing& listing, std::string& bytes);

template <Decode work>
double decodeFresh(const std::string& bytes, std::size_t times) {
    return processorSecondsOf([&] {
        for (std::size_t i = 0; i < times; ++i) {
            Listing fresh;
            work(bytes, fresh);
        }
    });
}

template <Decode work>
double decodeAgain(const std::string& bytes, std::size_t times, Listing& kept) {
    return processorSecondsOf([&] {
        for (std::size_t i = 0; i < times; ++i) work(bytes, kept);
    });
}

template <Encode work>
double encodeFresh(const Listing& listing, std::size_t times) {
    return processorSecondsOf([&] {
        for (std::size_t i = 0; i < times; ++i) {
            std::string bytes;
            work(listing, bytes);
        }
    });
}

// Prints three rows: a codec against the plain one, with a listing of `count` entries.
template <Decode decode, Encode encode>
void compareCodec(const std::string& name, std::size_t count) {
    constexpr int rounds = 15;
    const std::size_t times = std::max<std::size_t>(1, 100'000 / count);
    const Listing listing = listingOf(count);
    std::string bytes, plainBytes;
    encode(listing, bytes);
    plainEncode(listing, plainBytes);
    Listing one, other;
    decode(bytes, one);
    plainDecode(plainBytes, other);
    if (one != listing || other != listing) std::abort(); // both must give the same result

    const std::string of = ", " + std::to_string(count) + " records";
    const std::string plain = "plain per-field codec";
    compare(
        name + "decode" + of, plain, rounds, [&] { return decodeFresh<decode>(bytes, times); },
        [&] { return decodeFresh<plainDecode>(plainBytes, times); });
    compare(
        name + "decode into existing records" + of, plain, rounds,
        [&] { return decodeAgain<decode>(bytes, times, one); },
        [&] { return decodeAgain<plainDecode>(plainBytes, times, other); });
    compare(
        name + "encode" + of, plain, rounds, [&] { return encodeFresh<encode>(listing, times); },
        [&] { return encodeFresh<plainEncode>(listing, times); });
}

// Otherwise the heap returns memory and faults it in again from time to time, and that would be measured.
inline void keepTheHeap() {
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
}

} // namespace bench
