// SPDX-License-Identifier: MIT
//
// The first exchange on a connection: the front end says hello, the service welcomes it or says why not. Both
// frames keep their form in every version of the protocol, so that a mismatch is told and not misread. Each lists its
// fields in the order of the wire; the bodies of hello and welcome begin with a magic word.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace bridge {

enum class Role : std::uint32_t {
    commandSession = 1, // sends requests
    receiver = 2,       // is sent notifications
};

struct Hello {
    std::uint32_t version = 0;
    Role role{};
    std::string name; // of the session, "Tokens" for instance

    static auto fields(auto& self, auto&& io) { return io(self.version, self.role, self.name); }
};

enum class Verdict : std::uint32_t {
    accepted = 0,
    versionMismatch = 1,
    accessDenied = 2,
    overloaded = 3,
    malformed = 4,
};

struct Welcome {
    std::uint32_t version = 0;
    Verdict verdict{};
    std::uint32_t frameLimit = 0; // bytes of body that the service takes
    std::string service;          // name and version of the service, for people
    std::string text;             // why it is refused, for people

    static auto fields(auto& self, auto&& io) {
        return io(self.version, self.verdict, self.frameLimit, self.service, self.text);
    }
};

// Why a command was refused, in the body of a refused frame.
enum class RefusalReason : std::uint32_t {
    unknownModule = 1,
    unknownCommand = 2,
    accessDenied = 3,
    byModule = 4,
    tooLarge = 5, // the reply, or the request
    stopping = 6,
    malformed = 7, // the module can't read the payload
};

struct Refusal {
    RefusalReason reason{};
    std::uint32_t detail = 0; // the module's own number for it, 0 when it has none
    std::string text;         // for people

    static auto fields(auto& self, auto&& io) { return io(self.reason, self.detail, self.text); }
};

std::string encode(const Hello& hello);
std::string encode(const Welcome& welcome);
std::string encode(const Refusal& refusal);

// Nothing when the bytes are not what they should be.
std::optional<Hello> decodeHello(std::string_view body);
std::optional<Welcome> decodeWelcome(std::string_view body);
std::optional<Refusal> decodeRefusal(std::string_view body);

} // namespace bridge
