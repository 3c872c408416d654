// SPDX-License-Identifier: MIT
//
// HostedModule, continued: its commands that find, read, create and destroy objects, and those on keys.
#include <service/modules/hosted_module.h>

#include <service/base/refused.h>
#include <service/modules/cryptoki.h>
#include <service/modules/object_reader.h>
#include <service/modules/pin_tries.h>

#include <algorithm>
#include <array>
#include <optional>
#include <set>
#include <utility>

namespace panelkitd {

using vocabulary::Refused;

namespace {

constexpr std::size_t mostObjects = 100'000; // of a search; a module that finds more is not believed
constexpr CK_ULONG mostMechanisms = 4096;

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

std::size_t sizeOf(const std::vector<HostValue>& values) {
    std::size_t size = 0;
    for (const HostValue& value : values) size += value.bytes.size() + 8;
    return size;
}

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
