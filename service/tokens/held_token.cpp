// SPDX-License-Identifier: MIT
#include <service/tokens/held_token.h>

#include <vocabulary/tokens.h>

#include <algorithm>

namespace panelkitd {

using PKCS11::TokenInfo;
using vocabulary::Refused;
namespace field = vocabulary::token;

HeldToken::HeldToken(std::shared_ptr<Provider> provider, ModuleHost::Turn turn, const TokenInfo& token)
    : provider_(std::move(provider)),
      turn_(std::move(turn)),
      named_(token),
      name_{token.*field::label, token.*field::serial, token.slotId} {}

TokenInfo HeldToken::info() { return provider_->record(turn_.ask<HostToken>(HostCommand::token, name_)); }

bool HeldToken::loggedIn() { return (info().flags & vocabulary::tokenFlag::loggedIn) != 0; }

void HeldToken::requireWritable() {
    const TokenInfo now = info();
    if (now.flags & vocabulary::tokenFlag::writeProtected) {
        throw RefusedError(Refused::writeProtected, "the token is write-protected");
    }
    if (needsLogin(now)) {
        throw RefusedError(Refused::notLoggedIn, "not logged in to the token");
    }
}

void HeldToken::requireNoOther(const std::optional<Account>& owner, const Account& who) const {
    if (!owner || owner->id == who.id) return;
    if (owner->id.empty()) {
        throw RefusedError(Refused::inUseByAnother, "the token \"%s\" is in use: the service itself is logged in to it",
                           name_.label);
    }
    throw RefusedError(Refused::inUseByAnother, "the token \"%s\" is in use by %s, who is logged in to it", name_.label,
                       owner->name);
}

// Counted before the command: one that fails half-way may have changed something too.
void HeldToken::countChange() {
    static std::atomic<std::uint64_t> changes{0};
    provider_->lastChange_ = ++changes;
}

// A module can't check a PIN while its user is logged in. So a log-in while another account is logged in is refused
// whatever the PIN is.
void HeldToken::login(const HostLogin& login, const Account& who) {
    if (loggedIn()) return requireNoOther(owner(), who);
    // It can't be right, and the token would count it: it asks whether there is a log-in already.
    if (login.pin.empty()) throw RefusedError(Refused::notLoggedIn, "not logged in to the token");
    countChange();
    turn_.tell(HostCommand::login, name_, login);
    provider_->setOwner(key(), who, turn_.incarnation());
    tellPin(login.pin);
}

void HeldToken::tellPin(const platform::Secret& pin) {
    if (provider_->loggedIn_) provider_->loggedIn_(provider_->settings().path, named_, pin);
}

void HeldToken::logout(const Account& who) {
    if (!who.administrator && loggedIn()) requireNoOther(owner(), who);
    countChange();
    turn_.tell(HostCommand::logout, name_);
}

bool HeldToken::loginForOnce(const platform::Secret& pin, const Account& who) {
    if (loggedIn()) {
        requireNoOther(owner(), who);
        return false;
    }
    turn_.tell(HostCommand::login, name_, HostLogin{pin, false});
    return true;
}

void HeldToken::logoutAfterOnce() { turn_.tell(HostCommand::logout, name_); }

void HeldToken::initialize(const HostInitialization& wish, const Account& who) {
    if (!who.administrator && loggedIn()) requireNoOther(owner(), who);
    countChange();
    const auto made = turn_.ask<HostToken>(HostCommand::initialize, name_, wish);
    name_ = {made.label, made.serial, made.slot};
}

void HeldToken::changePin(const HostPinChange& change) {
    turn_.tell(HostCommand::changePin, name_, change);
    if (change.whose == PinOf::user && loggedIn()) tellPin(change.newPin);
}

void HeldToken::seed(const platform::Secret& bytes) { turn_.tell(HostCommand::seed, name_, bytes); }

std::vector<HostMechanism> HeldToken::mechanisms() {
    return turn_.ask<std::vector<HostMechanism>>(HostCommand::mechanisms, name_);
}

// ---- objects

std::vector<HostObject> HeldToken::find(const std::vector<HostQuery>& queries) {
    auto found = turn_.ask<HostFound>(HostCommand::find, name_, queries);
    generation_ = found.generation;
    readRest(found.objects, queries);
    return std::move(found.objects);
}

namespace {

bool isUnread(const HostObject& object) { return object.values.empty(); }

// The limit for the values of all objects of a listing. The service keeps them at the same time, so a module that makes
// them up must not be able to use up its memory.
constexpr std::size_t mostMebibytes = 192;

void requireThatItFits(const std::vector<HostObject>& objects) {
    std::size_t bytes = 0;
    for (const HostObject& object : objects) {
        for (const HostValue& value : object.values) bytes += sizeof value + value.bytes.size();
    }
    if (bytes <= mostMebibytes << 20) return;
    throw RefusedError(Refused::deviceError, "the objects on the token have more than %d MiB", mostMebibytes);
}

const std::vector<std::uint64_t>& typesOf(std::uint64_t objectClass, const std::vector<HostQuery>& queries) {
    for (const HostQuery& query : queries) {
        for (const HostReading& reading : query.readings) {
            if (reading.objectClass == objectClass) return reading.types;
        }
    }
    throw RefusedError(Refused::deviceError, "the module returned objects that were not asked for");
}

} // namespace

// When not all values fit into the reply, the objects from some place on come without values. Each round reads some of
// these, or finds that they do not exist any more.
void HeldToken::readRest(std::vector<HostObject>& objects, const std::vector<HostQuery>& queries) {
    for (;;) {
        const auto first = std::find_if(objects.begin(), objects.end(), isUnread);
        if (first == objects.end()) return;
        const std::uint64_t objectClass = first->objectClass;
        const auto isMeant = [&](const HostObject& o) { return isUnread(o) && o.objectClass == objectClass; };
        std::vector<std::uint64_t> numbers;
        for (const HostObject& object : objects) {
            if (isMeant(object)) numbers.push_back(object.object);
        }
        std::map<std::uint64_t, std::vector<HostValue>> read;
        for (HostObject& object : turn_.ask<std::vector<HostObject>>(HostCommand::read, name_, generation_, numbers,
                                                                     typesOf(objectClass, queries))) {
            if (!isUnread(object)) read[object.object] = std::move(object.values);
        }
        if (read.empty()) std::erase_if(objects, isMeant);
        for (HostObject& object : objects) {
            const auto values = read.find(object.object);
            if (values != read.end() && isMeant(object)) object.values = std::move(values->second);
        }
        requireThatItFits(objects);
    }
}

std::vector<HostValue> HeldToken::read(std::uint64_t object, const std::vector<std::uint64_t>& types) {
    auto found = turn_.ask<std::vector<HostObject>>(HostCommand::read, name_, generation_, std::vector{object}, types);
    return found.empty() ? std::vector<HostValue>() : std::move(found[0].values);
}

std::vector<std::uint64_t> HeldToken::create(const std::vector<HostTemplate>& objects) {
    countChange();
    return turn_.ask<std::vector<std::uint64_t>>(HostCommand::create, name_, objects);
}

void HeldToken::destroy(const std::vector<std::uint64_t>& objects) {
    countChange();
    turn_.tell(HostCommand::destroy, name_, generation_, objects);
}

HostKeyPair HeldToken::generate(const HostGeneration& wish) {
    countChange();
    auto pair = turn_.ask<HostKeyPair>(HostCommand::generate, name_, wish);
    generation_ = pair.generation;
    return pair;
}

std::string HeldToken::sign(HostSigning wish) {
    wish.generation = generation_;
    return turn_.ask<std::string>(HostCommand::sign, name_, wish);
}

} // namespace panelkitd
