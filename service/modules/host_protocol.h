// SPDX-License-Identifier: MIT
//
// The protocol between the service and the process that hosts a PKCS#11 module. It uses the frames of the bridge. A
// request has a HostCommand in `command` and is answered by one reply or refusal. Before that, `working` frames come
// while the module makes progress; a `remarks` frame with the reasons comes before a refusal. Both ends are the same
// program, so the protocol may change in any version.
//
// A command names its token by its label, serial number and the like (HostTokenName). The host finds the token, keeps
// one session with it, and carries out the whole command in that session. So a listing or an import needs only one or
// two round trips.
//
// PINs and the values of objects to create are Secrets. The values of objects that are read are too many to be locked
// in memory; they are wiped.
#pragma once

#include <panelkit/bridge/command_stream.h>
#include <platform/system/secret.h>
#include <platform/system/wipe.h>

#include <cstdint>
#include <string>
#include <vector>

namespace panelkitd {

enum class HostCommand : std::uint32_t {
    describe = 1, // -> ModuleFacts; the module is loaded with it
    tokens,       // bool lookAnyway -> HostTokens
    token,        // HostTokenName -> HostToken
    login,        // HostTokenName, HostLogin
    logout,       // HostTokenName
    initialize,   // HostTokenName, HostInitialization -> HostToken
    changePin,    // HostTokenName, HostPinChange
    seed,         // HostTokenName, string
    mechanisms,   // HostTokenName -> vector<HostMechanism>
    find,         // HostTokenName, vector<HostQuery> -> HostFound
    read,         // HostTokenName, u64 generation, vector<u64> objects, vector<u64> types -> vector<HostObject>
    create,       // HostTokenName, vector<HostTemplate> -> vector<u64> objects: all of them, or none and a refusal
    destroy,      // HostTokenName, u64 generation, vector<u64> objects
    generate,     // HostTokenName, HostGeneration -> HostKeyPair
    sign,         // HostTokenName, HostSigning -> string
    end,          // the module is finalised; the last command
};

// Whether requests of a command hold PINs, preshared keys or private keys.
constexpr bool carriesSecrets(HostCommand command) {
    switch (command) {
    case HostCommand::login:
    case HostCommand::initialize:
    case HostCommand::changePin:
    case HostCommand::seed:
    case HostCommand::create:
    case HostCommand::sign: return true;
    default: return false;
    }
}

// A reply with these fields.
template <class... Fields>
std::string encoded(const Fields&... fields) {
    std::string reply;
    CommandStreamOut(reply).append(fields...);
    return reply;
}

struct ModuleFacts {
    std::string manufacturer;
    std::string description;
    std::string version;         // "2.6"
    std::string cryptokiVersion; // "2.40"

    static auto fields(auto& self, auto&& io) {
        return io(self.manufacturer, self.description, self.version, self.cryptokiVersion);
    }
};
static_assert(RecordListsEveryMember<ModuleFacts>);

// A token as its module describes it. The texts are always UTF-8, because the host replaces other bytes.
struct HostToken {
    std::uint64_t slot{};
    std::string label; // empty while it is not initialised
    std::string serial;
    std::string manufacturer;
    std::string model;
    std::uint64_t flags{}; // CKF_...
    std::uint32_t shortestPin{};
    std::uint32_t longestPin{};
    bool loggedIn{}; // the host is, as the user

    static auto fields(auto& self, auto&& io) {
        return io(self.slot, self.label, self.serial, self.manufacturer, self.model, self.flags, self.shortestPin,
                  self.longestPin, self.loggedIn);
    }
    bool operator==(const HostToken&) const = default;
};
static_assert(RecordListsEveryMember<HostToken>);

// A token that is in its slot, but that the module can't describe now.
struct HostUnreadToken {
    std::uint64_t slot{};
    std::uint64_t result{}; // CKR_... of C_GetTokenInfo

    static auto fields(auto& self, auto&& io) { return io(self.slot, self.result); }
};
static_assert(RecordListsEveryMember<HostUnreadToken>);

// The tokens, unless none can have come or gone since the state that the caller has seen. Each caller keeps its own
// state, because a module reports each event only once. No reply has the state 0, so a caller that sends 0 always gets
// the tokens.
struct HostTokens {
    std::uint64_t state{};
    bool looked{};
    std::vector<HostToken> tokens;
    std::vector<HostUnreadToken> unread;

    static auto fields(auto& self, auto&& io) { return io(self.state, self.looked, self.tokens, self.unread); }
};
static_assert(RecordListsEveryMember<HostTokens>);

// Slot numbers change when readers come and go. So the slot is used only to choose between tokens that are otherwise
// the same.
struct HostTokenName {
    std::string label, serial;
    std::uint64_t slot{};

    static auto fields(auto& self, auto&& io) { return io(self.label, self.serial, self.slot); }
};
static_assert(RecordListsEveryMember<HostTokenName>);

// ---- PINs

enum class PinOf : std::uint32_t { user, securityOfficer };

struct HostLogin {
    platform::Secret pin;
    bool mayBeFinal{}; // whether the last try of the PIN may be spent

    static auto fields(auto& self, auto&& io) { return io(self.pin, self.mayBeFinal); }
};
static_assert(RecordListsEveryMember<HostLogin>);

struct HostInitialization {
    std::string label;
    platform::Secret soPin, userPin;
    bool mayErase{}; // whether it may hold something

    static auto fields(auto& self, auto&& io) { return io(self.label, self.soPin, self.userPin, self.mayErase); }
};
static_assert(RecordListsEveryMember<HostInitialization>);

struct HostPinChange {
    PinOf whose{};
    platform::Secret oldPin, newPin;
    bool mayBeFinal{};

    static auto fields(auto& self, auto&& io) { return io(self.whose, self.oldPin, self.newPin, self.mayBeFinal); }
};
static_assert(RecordListsEveryMember<HostPinChange>);

// ---- objects

struct HostAttribute {
    std::uint64_t type{};
    platform::Secret value; // the bytes as PKCS#11 has them in memory

    static auto fields(auto& self, auto&& io) { return io(self.type, self.value); }
};
static_assert(RecordListsEveryMember<HostAttribute>);

struct HostTemplate {
    std::vector<HostAttribute> attributes;

    static auto fields(auto& self, auto&& io) { return io(self.attributes); }
};
static_assert(RecordListsEveryMember<HostTemplate>);

// The attributes to read of the objects of a class.
struct HostReading {
    std::uint64_t objectClass{};
    std::vector<std::uint64_t> types;

    static auto fields(auto& self, auto&& io) { return io(self.objectClass, self.types); }
};
static_assert(RecordListsEveryMember<HostReading>);

// A search. With one reading, every object that is found is taken to be of its class. With several readings, objects of
// other classes are left out. An object that an earlier query of the same command has found is left out too. One search
// for all objects is faster than one for each class: a search takes about as long as reading what it finds.
struct HostQuery {
    HostTemplate wanted;
    std::vector<HostReading> readings;

    static auto fields(auto& self, auto&& io) { return io(self.wanted, self.readings); }
};
static_assert(RecordListsEveryMember<HostQuery>);

// A value was read, or the object has no such value, or the token keeps it secret.
struct HostValue {
    bool known{};
    std::string bytes;

    ~HostValue() { platform::wipe(bytes); }
    static auto fields(auto& self, auto&& io) { return io(self.known, self.bytes); }
};
static_assert(RecordListsEveryMember<HostValue>);

struct HostObject {
    std::uint64_t object{};
    std::uint64_t objectClass{};
    std::vector<HostValue> values; // in the order of the reading; empty for an object that is still to be read

    static auto fields(auto& self, auto&& io) { return io(self.object, self.objectClass, self.values); }
};
static_assert(RecordListsEveryMember<HostObject>);

// Objects are named by numbers that are valid in one session with the token; `generation` is the number of that
// session. Objects that do not fit into a reply come without values and are read with further commands.
struct HostFound {
    std::uint64_t generation{};
    std::vector<HostObject> objects; // of all queries, in their order

    static auto fields(auto& self, auto&& io) { return io(self.generation, self.objects); }
};
static_assert(RecordListsEveryMember<HostFound>);

// ---- keys

struct HostMechanism {
    std::uint64_t type{};
    std::uint64_t smallestKey{}, largestKey{}; // bits; both 0 where the token does not say

    static auto fields(auto& self, auto&& io) { return io(self.type, self.smallestKey, self.largestKey); }
};
static_assert(RecordListsEveryMember<HostMechanism>);

struct HostGeneration {
    std::uint64_t mechanism{};
    HostTemplate publicKey, privateKey;
    std::vector<std::uint64_t> types; // to read of the public key

    static auto fields(auto& self, auto&& io) {
        return io(self.mechanism, self.publicKey, self.privateKey, self.types);
    }
};
static_assert(RecordListsEveryMember<HostGeneration>);

struct HostKeyPair {
    std::uint64_t generation{};
    std::uint64_t publicKey{}, privateKey{};
    std::vector<HostValue> values; // of the public key

    static auto fields(auto& self, auto&& io) {
        return io(self.generation, self.publicKey, self.privateKey, self.values);
    }
};
static_assert(RecordListsEveryMember<HostKeyPair>);

struct HostSigning {
    std::uint64_t generation{};
    std::uint64_t key{};
    std::uint64_t mechanism{};
    std::string bytes;
    bool withPin{};       // for a key that asks for the PIN at each use
    platform::Secret pin; // of the user

    static auto fields(auto& self, auto&& io) {
        return io(self.generation, self.key, self.mechanism, self.bytes, self.withPin, self.pin);
    }
};
static_assert(RecordListsEveryMember<HostSigning>);

} // namespace panelkitd
