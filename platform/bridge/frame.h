// SPDX-License-Identifier: MIT
//
// The frames of the command bridge: the form in which every payload is sent over the socket or pipe. The format is
// documented, with a byte dump, in docs/wire-format.md; client and service both use this file.
//
//   header (20 bytes)   u32 length of the body, u32 kind, u32 module, u32 command, u32 tag
//   body                length bytes
#pragma once

#include <platform/bridge/account_budget.h>
#include <platform/bridge/channel.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace bridge {

// The newest and the oldest supported version of the protocol. docs/wire-format.md says what each added.
inline constexpr std::uint32_t protocolVersion = 2;
inline constexpr std::uint32_t oldestProtocolVersion = 1;
inline constexpr std::uint32_t remarksSince = 2; // the first version with remarks
inline constexpr std::size_t frameHeaderSize = 20;
inline constexpr std::uint32_t defaultFrameLimit = 64U << 20; // bytes of body
// Bodies of fewer bytes are not charged to an account: all sessions together have few such bytes.
inline constexpr std::size_t chargedFrom = std::size_t{64} << 10;
inline constexpr std::uint32_t helloLimit = 4096;       // bytes of body of a hello or welcome
inline constexpr std::uint32_t remarksLimit = 1U << 20; // bytes of body of remarks

// Part of the wire format; the numbers never change.
enum class FrameKind : std::uint32_t {
    hello = 1,        // front end -> service, first
    welcome = 2,      // service -> front end: accepted, or refused with the reason
    request = 3,      // module, command, payload
    reply = 4,        // the module answered; its payload
    refused = 5,      // the command was not carried out; reason and text
    working = 6,      // the command still runs; no body
    push = 7,         // service -> receiver: notification id in `command`, payload
    pushAnswered = 8, // receiver -> service: handled; its reply
    pushRefused = 9,  // receiver -> service: not handled
    remarks = 10,     // service -> front end, at most once and right before a reply or refusal
};

struct FrameHeader {
    std::uint32_t length = 0;
    FrameKind kind{};
    std::uint32_t module = 0;
    std::uint32_t command = 0;
    std::uint32_t tag = 0; // chosen by the sender of a request, repeated in the answer

    static auto fields(auto& self, auto&& io) {
        return io(self.length, self.kind, self.module, self.command, self.tag);
    }
};

std::array<char, frameHeaderSize> encodeFrameHeader(const FrameHeader& header);
FrameHeader decodeFrameHeader(const char* bytes);

// Writes a frame; header.length is set from the body.
IoStatus writeFrame(Channel& channel, FrameHeader header, std::string_view body, Patience patience);

enum class FrameStatus : unsigned char {
    done,
    timedOut,
    closed,
    tooLarge,   // the header announces a body above the limit
    overBudget, // the account, or all accounts together, have too many bytes already
};

// Reads frames from a channel. A header and a small body come with one receive; a large body is received directly into
// the caller's string, which grows as bytes arrive and not to the size that a header claims.
class FrameReader {
public:
    explicit FrameReader(Channel& channel) : channel_(channel) {}
    ~FrameReader();
    FrameReader(const FrameReader&) = delete;
    FrameReader& operator=(const FrameReader&) = delete;

    // Waits for the first byte of a header until `first`, and for the rest as long as `patience` allows.
    FrameStatus readHeader(FrameHeader& header, Deadline first, Patience patience);

    // Reads the body announced by `header` into `body`, replacing it. What arrives of a large one (chargedFrom) is
    // charged to `budget`, if given, and the caller gives it back after it has used the body, also after a failure.
    FrameStatus readBody(const FrameHeader& header, std::string& body, std::uint32_t limit, Patience patience,
                         AccountBudget::Share* budget = nullptr);

private:
    IoStatus receive(char* to, std::size_t size, std::size_t& got, Deadline until, const Patience& patience);
    IoStatus fill(std::size_t wanted, Deadline first, Patience patience);
    std::size_t buffered() const { return end_ - begin_; }
    void consume(std::size_t bytes);

    Channel& channel_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::array<char, std::size_t{16} * 1024> buffer_;
};

} // namespace bridge
