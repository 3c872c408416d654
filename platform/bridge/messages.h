// SPDX-License-Identifier: MIT
//
// The bodies of the bridge's own frames. Hello and welcome have the same form in every version of the protocol, so that
// a version mismatch is reported and not misread; they begin with a magic word. Each lists its fields in the order of
// the wire.
#pragma once

#include <platform/bridge/failure.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace bridge {

enum class Role : std::uint32_t {
    commandSession = 1, // sends requests
    receiver = 2,       // receives notifications
};

// The first exchange on a connection: the front end says hello, the service sends a welcome that accepts or refuses it.
struct Hello {
    std::uint32_t version = 0; // the newest one that the front end supports
    Role role{};
    std::string name; // of the session, for example "Tokens"

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
    std::uint32_t version = 0; // used from now on; after a mismatch the newest one that the service supports
    Verdict verdict{};
    std::uint32_t frameLimit = 0; // bytes of body that the service accepts
    std::string service;          // name and version of the service, for people
    std::string text;             // why the front end is refused, for people
    std::vector<Remark> why;      // the same for programs, after the other fields; missing in version 1

    static auto fields(auto& self, auto&& io) {
        return io(self.version, self.verdict, self.frameLimit, self.service, self.text);
    }
};

// Why a command was refused, in the body of a refused frame. The remarks sent before it state the same with arguments.
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
    std::uint32_t detail = 0; // the module's own number for the reason, 0 when it has none
    std::string text;         // for people

    static auto fields(auto& self, auto&& io) { return io(self.reason, self.detail, self.text); }
};

// The most remarks on one command.
inline constexpr std::size_t mostRemarks = 100;
inline constexpr std::size_t longestArgument = 4096; // bytes; a service cuts longer ones

// Makes remarks fit into a frame. Longer arguments are cut and end with "..."; if there are too many remarks, the last
// one says how many more there are.
std::vector<Remark> fitted(std::vector<Remark> remarks);

// The phrases of remarks, in their order.
std::vector<Loc::Phrase> phrasesOf(const std::vector<Remark>& remarks);

std::string encode(const Hello& hello);
std::string encode(const Welcome& welcome);
std::string encode(const Refusal& refusal);
std::string encode(const std::vector<Remark>& remarks);

// Each returns nullopt when the bytes are not valid. Remarks are at least one and at most mostRemarks; each has a
// wording, and at most Loc::mostArguments arguments.
std::optional<Hello> decodeHello(std::string_view body);
std::optional<Welcome> decodeWelcome(std::string_view body);
std::optional<Refusal> decodeRefusal(std::string_view body);
std::optional<std::vector<Remark>> decodeRemarks(std::string_view body);

} // namespace bridge
