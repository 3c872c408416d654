// SPDX-License-Identifier: MIT
//
// HostedModule, continued: its commands that find, read, create and destroy objects, and those on keys.
#include <service/modules/hosted_module.h>

#include <service/base/refused.h>
#include <service/modules/cryptoki.h>
#include <service/modules/pin_tries.h>

#include <algorithm>
#include <array>
#include <deque>
#include <optional>
#include <set>
#include <utility>

namespace panelkitd {

using vocabulary::Refused;

namespace {

constexpr std::size_t usualSize = 2048; // of an attribute; a larger one takes two calls more

// A module that announces larger values is not believed: they are treated as missing. Only certificates, revocation
// lists and the like are large; labels and numbers end up together in the replies of listings.
constexpr CK_ULONG largestValue = CK_ULONG{32} << 20U;
constexpr CK_ULONG largestOther = CK_ULONG{64} << 10U;
constexpr std::size_t mostObjects = 100'000; // of a search; a module that finds more is not believed
constexpr CK_ULONG mostMechanisms = 4096;
constexpr CK_ULONG absentSize = ~CK_ULONG{0}; // what PKCS#11 says of a value that is not there

// The limit for the bytes of values in one reply. The remaining values are read with further commands.
constexpr std::size_t mostBytes = std::size_t{24} << 20;

// Returns the attributes in the form that PKCS#11 takes. They point into the template, which must outlive them.
std::vector<CK_ATTRIBUTE> attributesOf(const HostTemplate& object) {
    std::vector<CK_ATTRIBUTE> list;
    for (const HostAttribute& attribute : object.attributes) {
        list.push_back({static_cast<CK_ATTRIBUTE_TYPE>(attribute.type), mutableBytes(attribute.value),
                        static_cast<CK_ULONG>(attribute.value.size())});
    }
    return list;
}

std::vector<CK_OBJECT_HANDLE> search(const Pkcs11Library& library, CK_SESSION_HANDLE session,
                                     const HostTemplate& wanted) {
    std::vector<CK_ATTRIBUTE> attributes = attributesOf(wanted);
    check(library->C_FindObjectsInit(session, attributes.data(), static_cast<CK_ULONG>(attributes.size())),
          "C_FindObjectsInit");
    std::vector<CK_OBJECT_HANDLE> found;
    std::array<CK_OBJECT_HANDLE, 512> some{};
    CK_RV result = CKR_OK;
    // When the module returns fewer objects than there is room for, they are the last ones.
    for (CK_ULONG count = some.size(); count == some.size() && found.size() < mostObjects;) {
        count = 0; // for a module that returns success and sets nothing
        result = library->C_FindObjects(session, some.data(), some.size(), &count);
        if (result == CKR_OK && count > some.size()) result = CKR_GENERAL_ERROR; // more than it had room for
        if (result != CKR_OK) break;
        found.insert(found.end(), some.begin(), some.begin() + static_cast<std::ptrdiff_t>(count));
    }
    library->C_FindObjectsFinal(session);
    check(result, "C_FindObjects");
    if (found.size() >= mostObjects) { // to leave some out would say that they are not there
        throw RefusedError(Refused::deviceError, "the token has more than %d objects", mostObjects);
    }
    return found;
}

constexpr CK_OBJECT_CLASS noClass = ~CK_OBJECT_CLASS{0};

enum class Outcome : unsigned char { read, gone, otherClass };

// Reads the same attributes of several objects, or only their class. One call for each object is enough when its values
// are not larger than usualSize.
class AttributeReader {
public:
    AttributeReader(const Pkcs11Library& library, CK_SESSION_HANDLE session, const std::vector<std::uint64_t>& types)
        : library_(library), session_(session), types_(types), buffers_(types.size(), std::string(usualSize, '\0')) {}
    ~AttributeReader() {
        for (std::string& buffer : buffers_) platform::wipe(buffer);
    }
    AttributeReader(const AttributeReader&) = delete;
    AttributeReader& operator=(const AttributeReader&) = delete;

    // With a class given, nothing is read of an object of another one; lastClass() is then its class.
    Outcome read(CK_OBJECT_HANDLE object, std::vector<HostValue>& values,
                 std::optional<CK_OBJECT_CLASS> wanted = std::nullopt) {
        CK_RV result = fetch(object, wanted || types_.empty());
        if (result == CKR_OBJECT_HANDLE_INVALID) return Outcome::gone;
        if (wanted && class_ != *wanted) return Outcome::otherClass;
        if (result == CKR_BUFFER_TOO_SMALL) {
            grow(object);
            result = fetch(object, false);
            if (result == CKR_OBJECT_HANDLE_INVALID) return Outcome::gone;
        }
        // With these results the other values were read. A value that is secret or that the object does not have is
        // marked.
        if (result != CKR_ATTRIBUTE_SENSITIVE && result != CKR_ATTRIBUTE_TYPE_INVALID &&
            result != CKR_BUFFER_TOO_SMALL) {
            check(result, "C_GetAttributeValue");
        }
        values.resize(types_.size());
        for (std::size_t i = 0; i < values.size(); ++i) {
            const CK_ULONG size = fetched_[i].ulValueLen;
            values[i].known = size != absentSize && size <= buffers_[i].size();
            if (values[i].known) values[i].bytes.assign(buffers_[i], 0, size);
        }
        return Outcome::read;
    }

    // noClass if the module did not say it, as after another attribute with an error.
    CK_OBJECT_CLASS lastClass() const { return class_; }

private:
    CK_RV fetch(CK_OBJECT_HANDLE object, bool withClass) {
        fetched_.clear();
        for (std::size_t i = 0; i < types_.size(); ++i) {
            fetched_.push_back({static_cast<CK_ATTRIBUTE_TYPE>(types_[i]), buffers_[i].data(),
                                static_cast<CK_ULONG>(buffers_[i].size())});
        }
        if (!withClass) return get(object);
        class_ = noClass;
        fetched_.push_back({CKA_CLASS, &class_, sizeof class_});
        const CK_RV result = get(object);
        if (fetched_.back().ulValueLen != sizeof class_) class_ = noClass;
        return result;
    }
    // Makes the buffers large enough for values that did not fit.
    void grow(CK_OBJECT_HANDLE object) {
        fetched_.clear();
        for (const std::uint64_t type : types_) {
            fetched_.push_back({static_cast<CK_ATTRIBUTE_TYPE>(type), nullptr, 0});
        }
        get(object);
        for (std::size_t i = 0; i < fetched_.size(); ++i) {
            const CK_ULONG size = fetched_[i].ulValueLen;
            const CK_ULONG largest = types_[i] == CKA_VALUE ? largestValue : largestOther;
            if (size != absentSize && size > buffers_[i].size() && size <= largest) buffers_[i].resize(size);
        }
    }
    CK_RV get(CK_OBJECT_HANDLE object) {
        return library_->C_GetAttributeValue(session_, object, fetched_.data(), static_cast<CK_ULONG>(fetched_.size()));
    }

    const Pkcs11Library& library_;
    const CK_SESSION_HANDLE session_;
    const std::vector<std::uint64_t>& types_;
    std::vector<std::string> buffers_;
    std::vector<CK_ATTRIBUTE> fetched_; // those of types_, then perhaps the class
    CK_OBJECT_CLASS class_ = noClass;
};

std::size_t sizeOf(const std::vector<HostValue>& values) {
    std::size_t size = 0;
    for (const HostValue& value : values) size += value.bytes.size() + 8;
    return size;
}

// Reads the values of objects as their classes want. Objects of one class often follow each other, so an object is
// first taken to be of the class of the one before: its class and its values then need one call, and else a second one.
class ReadingsOfClasses {
public:
    ReadingsOfClasses(const Pkcs11Library& library, CK_SESSION_HANDLE session, const std::vector<HostReading>& readings)
        : readings_(readings), classReader_(library, session, nothing_) {
        for (const HostReading& reading : readings) readers_.emplace_back(library, session, reading.types);
    }

    // Returns nullopt when the object no longer exists, or when there is no reading for its class.
    std::optional<HostObject> read(CK_OBJECT_HANDLE handle, bool withValues) {
        isGone_ = false;
        if (readings_.empty()) return std::nullopt;
        HostObject object{handle, 0, {}};
        const bool ofAnyClass = readings_.size() == 1;
        if (!withValues && !ofAnyClass && !find(handle)) return std::nullopt;
        if (withValues && !(ofAnyClass ? readAny(object) : readOfItsClass(object))) return std::nullopt;
        object.objectClass = readings_[current_].objectClass;
        return object;
    }

    // Whether the module said that the last object does not exist.
    bool lastIsGone() const { return isGone_; }

private:
    bool isRead(Outcome outcome) {
        isGone_ = outcome == Outcome::gone;
        return outcome == Outcome::read;
    }
    bool readAny(HostObject& object) { return isRead(readers_[0].read(handleOf(object), object.values)); }

    bool readOfItsClass(HostObject& object) {
        AttributeReader& usual = readers_[current_];
        const Outcome outcome = usual.read(handleOf(object), object.values, classOf(readings_[current_]));
        if (outcome != Outcome::otherClass) return isRead(outcome);
        const bool isKnown = usual.lastClass() != noClass;
        if (isKnown ? !choose(usual.lastClass()) : !find(handleOf(object))) return false;
        return isRead(readers_[current_].read(handleOf(object), object.values));
    }
    // Chooses the reading for the class of the object, which it reads alone.
    bool find(CK_OBJECT_HANDLE handle) {
        std::vector<HostValue> none;
        return isRead(classReader_.read(handle, none)) && choose(classReader_.lastClass());
    }
    bool choose(CK_OBJECT_CLASS its) {
        const auto found = std::find_if(readings_.begin(), readings_.end(),
                                        [its](const HostReading& reading) { return classOf(reading) == its; });
        if (found != readings_.end()) current_ = static_cast<std::size_t>(found - readings_.begin());
        return found != readings_.end();
    }

    static CK_OBJECT_CLASS classOf(const HostReading& reading) {
        return static_cast<CK_OBJECT_CLASS>(reading.objectClass);
    }
    static CK_OBJECT_HANDLE handleOf(const HostObject& object) { return static_cast<CK_OBJECT_HANDLE>(object.object); }

    const std::vector<HostReading>& readings_;
    const std::vector<std::uint64_t> nothing_;
    AttributeReader classReader_;
    std::deque<AttributeReader> readers_; // one for each reading
    std::size_t current_ = 0;             // the reading of the object before
    bool isGone_ = false;
};

// Another program may destroy an object between the search and the reading. But when a search still finds it, the
// module can't read its own object, and to leave that out would say that it is not there.
void requireGone(const std::vector<CK_OBJECT_HANDLE>& unread, const std::vector<CK_OBJECT_HANDLE>& found) {
    const std::set<CK_OBJECT_HANDLE> present(found.begin(), found.end());
    for (const CK_OBJECT_HANDLE handle : unread) {
        if (!present.contains(handle)) continue;
        throw RefusedError(Refused::deviceError, "the token lists an object that can't be read");
    }
}

} // namespace

// ---- finding and reading

HostFound HostedModule::find(const HostTokenName& name, const std::vector<HostQuery>& queries) {
    const Token token = open(name);
    const CK_SESSION_HANDLE session = token.session->handle;
    HostFound found{token.session->generation, {}};
    std::set<CK_OBJECT_HANDLE> seen;
    std::size_t bytes = 0;
    for (const HostQuery& query : queries) {
        ReadingsOfClasses readings(library_, session, query.readings);
        std::vector<CK_OBJECT_HANDLE> gone;
        for (const CK_OBJECT_HANDLE handle : search(library_, session, query.wanted)) {
            if (!seen.insert(handle).second) continue;
            std::optional<HostObject> object = readings.read(handle, bytes < mostBytes);
            if (readings.lastIsGone()) gone.push_back(handle);
            if (!object) continue;
            bytes += sizeOf(object->values);
            found.objects.push_back(std::move(*object));
        }
        if (!gone.empty()) requireGone(gone, search(library_, session, query.wanted));
    }
    return found;
}

std::vector<HostObject> HostedModule::read(const HostTokenName& name, std::uint64_t generation,
                                           const std::vector<std::uint64_t>& objects,
                                           const std::vector<std::uint64_t>& types) {
    const Token token = open(name);
    requireGeneration(token, generation);
    AttributeReader reader(library_, token.session->handle, types);
    std::vector<HostObject> found;
    std::size_t bytes = 0;
    for (const std::uint64_t handle : objects) {
        HostObject object{handle, 0, {}};
        if (bytes < mostBytes && reader.read(static_cast<CK_OBJECT_HANDLE>(handle), object.values) != Outcome::read) {
            continue;
        }
        bytes += sizeOf(object.values);
        found.push_back(std::move(object));
    }
    return found;
}

// ---- making and destroying

namespace {

// Destroys the objects that were created, unless it is told to keep them. So a command that fails half-way leaves the
// token as it was.
class ObjectsMade {
public:
    ObjectsMade(const Pkcs11Library& library, CK_SESSION_HANDLE session) : library_(library), session_(session) {}
    ~ObjectsMade() {
        for (auto object = made_.rbegin(); object != made_.rend(); ++object) {
            library_->C_DestroyObject(session_, static_cast<CK_OBJECT_HANDLE>(*object));
        }
    }
    ObjectsMade(const ObjectsMade&) = delete;
    ObjectsMade& operator=(const ObjectsMade&) = delete;

    void create(const HostTemplate& object) {
        std::vector<CK_ATTRIBUTE> attributes = attributesOf(object);
        made_.reserve(made_.size() + 1);
        CK_OBJECT_HANDLE handle = 0;
        check(library_->C_CreateObject(session_, attributes.data(), static_cast<CK_ULONG>(attributes.size()), &handle),
              "C_CreateObject");
        made_.push_back(handle);
    }
    void add(CK_OBJECT_HANDLE object) { made_.push_back(object); }
    std::vector<std::uint64_t> keep() { return std::exchange(made_, {}); }

private:
    const Pkcs11Library& library_;
    const CK_SESSION_HANDLE session_;
    std::vector<std::uint64_t> made_;
};

} // namespace

std::vector<std::uint64_t> HostedModule::create(const HostTokenName& name, const std::vector<HostTemplate>& objects) {
    const Token token = openWritable(name);
    ObjectsMade made(library_, token.session->handle);
    for (const HostTemplate& object : objects) made.create(object);
    return made.keep();
}

void HostedModule::destroy(const HostTokenName& name, std::uint64_t generation,
                           const std::vector<std::uint64_t>& objects) {
    const Token token = openWritable(name);
    requireGeneration(token, generation);
    for (const std::uint64_t object : objects) {
        check(library_->C_DestroyObject(token.session->handle, static_cast<CK_OBJECT_HANDLE>(object)),
              "C_DestroyObject");
    }
}

// ---- keys

std::vector<HostMechanism> HostedModule::mechanisms(const HostTokenName& name) {
    const Token token = locate(name);
    CK_ULONG count = 0;
    check(library_->C_GetMechanismList(token.slot, nullptr, &count), "C_GetMechanismList");
    if (count > mostMechanisms) {
        throw RefusedError(Refused::deviceError, "the token announces %d mechanisms, which is impossible", count);
    }
    std::vector<CK_MECHANISM_TYPE> types(count);
    if (count > 0) check(library_->C_GetMechanismList(token.slot, types.data(), &count), "C_GetMechanismList");
    types.resize(std::min<std::size_t>(count, types.size()));
    std::vector<HostMechanism> list;
    for (const CK_MECHANISM_TYPE type : types) {
        CK_MECHANISM_INFO info{};
        const bool makesKeys = type == CKM_RSA_PKCS_KEY_PAIR_GEN || type == CKM_EC_KEY_PAIR_GEN;
        const bool known = makesKeys && library_->C_GetMechanismInfo &&
                           library_->C_GetMechanismInfo(token.slot, type, &info) == CKR_OK;
        list.push_back({type, known ? info.ulMinKeySize : 0, known ? info.ulMaxKeySize : 0});
    }
    return list;
}

HostKeyPair HostedModule::generate(const HostTokenName& name, const HostGeneration& request) {
    const Token token = openWritable(name);
    const CK_SESSION_HANDLE session = token.session->handle;
    std::vector<CK_ATTRIBUTE> publicKey = attributesOf(request.publicKey),
                              privateKey = attributesOf(request.privateKey);
    CK_MECHANISM mechanism{static_cast<CK_MECHANISM_TYPE>(request.mechanism), nullptr, 0};
    CK_OBJECT_HANDLE publicHandle = 0, privateHandle = 0;
    check(library_->C_GenerateKeyPair(session, &mechanism, publicKey.data(), static_cast<CK_ULONG>(publicKey.size()),
                                      privateKey.data(), static_cast<CK_ULONG>(privateKey.size()), &publicHandle,
                                      &privateHandle),
          "C_GenerateKeyPair");
    ObjectsMade made(library_, session);
    made.add(publicHandle);
    made.add(privateHandle);
    HostKeyPair pair{token.session->generation, publicHandle, privateHandle, {}};
    if (AttributeReader(library_, session, request.types).read(publicHandle, pair.values) != Outcome::read) {
        throw RefusedError(Refused::deviceError, "the token made a key that can't be read");
    }
    made.keep();
    return pair;
}

std::string HostedModule::sign(const HostTokenName& name, const HostSigning& request) {
    const Token token = open(name);
    requireGeneration(token, request.generation);
    if (!request.withPin) return signature(token, request);
    guardFinalTry(library_.tokenInfo(token.slot).flags, PinOf::user, false); // its flags as they are now
    std::string made;
    tryPin(library_, token.slot, PinOf::user, [&] { made = signature(token, request); });
    return made;
}

std::string HostedModule::signature(const Token& token, const HostSigning& request) const {
    const CK_SESSION_HANDLE session = token.session->handle;
    CK_MECHANISM mechanism{static_cast<CK_MECHANISM_TYPE>(request.mechanism), nullptr, 0};
    check(library_->C_SignInit(session, &mechanism, static_cast<CK_OBJECT_HANDLE>(request.key)), "C_SignInit");
    CK_RV allowed = CKR_OK;
    if (request.withPin) {
        allowed = library_->C_Login(session, CKU_CONTEXT_SPECIFIC, mutableBytes(request.pin),
                                    static_cast<CK_ULONG>(request.pin.size()));
    }
    // This is called after a wrong PIN too. An operation that was begun must be ended, otherwise the session refuses
    // all others.
    std::string bytes(2048, '\0'); // larger than that of any key that can be made
    auto size = static_cast<CK_ULONG>(bytes.size());
    const CK_RV result = library_->C_Sign(session, mutableBytes(request.bytes),
                                          static_cast<CK_ULONG>(request.bytes.size()), mutableBytes(bytes), &size);
    check(allowed, "C_Login");
    check(result, "C_Sign");
    bytes.resize(std::min<std::size_t>(size, bytes.size()));
    return bytes;
}

} // namespace panelkitd
