// SPDX-License-Identifier: MIT
//
// Messages of vici, the control protocol of the IKE daemon: ordered trees of names and values, and their bytes.
//
// A packet is a length (4 bytes, big-endian) and as many bytes: its type (1 byte), for some types a name (its length in
// 1 byte, then the name), and a message. A message is a sequence of elements:
//
//   1 section start  name            a section, up to its end
//   2 section end
//   3 key and value  name, value     the length of a value has 2 bytes
//   4 list start     name            a list, up to its end
//   5 list item      value
//   6 list end
//
// What the daemon sends is not trusted: everything has a limit, and what breaks a rule is a ViciError.
#pragma once

#include <platform/system/secret.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace panelkitd {

class ViciError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The daemon has understood a request and refuses it, for the reason that it gives; or the request is too large for it
// and was not sent. The connection stays usable.
class ViciRefusal : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

namespace vici {

inline constexpr std::size_t largestRequest = std::size_t{512} * 1024; // the daemon's own limit
inline constexpr std::size_t largestAnswer = std::size_t{1024} * 1024; // a thousand tunnels to a gateway have less
inline constexpr std::size_t longestName = 255;
inline constexpr std::size_t longestValue = 65535;
inline constexpr unsigned deepest = 16; // sections in sections
inline constexpr std::size_t mostElements = 65536;

} // namespace vici

struct ViciItem;

// A section, or a whole message.
struct ViciSection {
    std::vector<ViciItem> items; // in order

    // Return the first item with the name: null, or an empty text, when there is none or it is of another form.
    const ViciSection* section(std::string_view name) const;
    const std::vector<std::string>* list(std::string_view name) const;
    std::string text(std::string_view name) const;
    std::uint64_t number(std::string_view name) const; // 0 unless it is a decimal number

    // Add an item, and return the message so that more can be added.
    ViciSection& add(std::string name, std::string value);
    ViciSection& add(std::string name, platform::Secret value);
    ViciSection& add(std::string name, std::vector<std::string> values);
    ViciSection& add(std::string name, ViciSection value);
};

struct ViciItem {
    std::string name;
    std::variant<std::string, platform::Secret, std::vector<std::string>, ViciSection> value; // secrets are only sent
};

// Numbers of the protocol.
enum class ViciPacketType : unsigned char {
    request = 0,
    response = 1,
    unknownRequest = 2,
    registerEvent = 3,
    unregisterEvent = 4,
    confirmed = 5,
    unknownEvent = 6,
    event = 7,
};

struct ViciPacket {
    ViciPacketType type{};
    std::string name; // of requests, of events, and of what is registered; else empty
    ViciSection message;
};

// Returns the bytes of a packet, without its length. Equal packets have equal bytes, and decodeVici() reads no others.
// If a value is a secret, the caller wipes them; no other copy of them is left. Throws ViciRefusal when a name, a
// value or the whole is above its limit.
std::string encodeVici(const ViciPacket& packet);

// Reads such bytes. Throws ViciError, which says what is wrong and where.
ViciPacket decodeVici(std::string_view bytes);

// Return the length of a packet as its four bytes, and read it. decodeViciLength throws ViciError for a packet that is
// empty or above the limit.
std::string encodeViciLength(std::size_t size);
std::size_t decodeViciLength(std::string_view fourBytes);

} // namespace panelkitd
