// SPDX-License-Identifier: MIT
//
// Reads attributes of the objects that a search has found. The objects are those of one session; the library and the
// lists of types must outlive the readers. One thread uses a reader.
#pragma once

#include <service/modules/host_protocol.h>
#include <service/modules/pkcs11_library.h>

#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace panelkitd {

inline constexpr CK_OBJECT_CLASS noClass = ~CK_OBJECT_CLASS{0};

enum class Outcome : unsigned char { read, gone, otherClass };

// Reads the same attributes of several objects, or only their class. One call for each object is enough when its values
// have a usual size. The memory of the values is wiped.
class AttributeReader {
public:
    AttributeReader(const Pkcs11Library& library, CK_SESSION_HANDLE session, const std::vector<std::uint64_t>& types);
    ~AttributeReader();
    AttributeReader(const AttributeReader&) = delete;
    AttributeReader& operator=(const AttributeReader&) = delete;

    // With a class given, nothing is read of an object of another one; lastClass() is then its class. A value that the
    // object does not have, or does not give out, is not `known`. Throws RefusedError when the module fails.
    Outcome read(CK_OBJECT_HANDLE object, std::vector<HostValue>& values,
                 std::optional<CK_OBJECT_CLASS> wanted = std::nullopt);

    // noClass if the module did not say it, as after another attribute with an error.
    CK_OBJECT_CLASS lastClass() const { return class_; }

private:
    CK_RV fetch(CK_OBJECT_HANDLE object, bool withClass);
    void grow(CK_OBJECT_HANDLE object);
    CK_RV get(CK_OBJECT_HANDLE object);

    const Pkcs11Library& library_;
    const CK_SESSION_HANDLE session_;
    const std::vector<std::uint64_t>& types_;
    std::vector<std::string> buffers_;
    std::vector<CK_ATTRIBUTE> fetched_; // those of types_, then perhaps the class
    CK_OBJECT_CLASS class_ = noClass;
};

// Reads the values of objects as their classes want. Objects of one class often follow each other, so an object is
// first taken to be of the class of the one before: its class and its values then need one call, and else a second one.
class ReadingsOfClasses {
public:
    ReadingsOfClasses(const Pkcs11Library& library, CK_SESSION_HANDLE session,
                      const std::vector<HostReading>& readings);

    // Returns nullopt when the object no longer exists, or when there is no reading for its class.
    std::optional<HostObject> read(CK_OBJECT_HANDLE handle, bool withValues);

    // Whether the module said that the last object does not exist.
    bool lastIsGone() const { return isGone_; }

private:
    bool isRead(Outcome outcome);
    bool readAny(HostObject& object);
    bool readOfItsClass(HostObject& object);
    bool find(CK_OBJECT_HANDLE handle);
    bool choose(CK_OBJECT_CLASS its);

    const std::vector<HostReading>& readings_;
    const std::vector<std::uint64_t> nothing_;
    AttributeReader classReader_;
    std::deque<AttributeReader> readers_; // one for each reading
    std::size_t current_ = 0;             // the reading of the object before
    bool isGone_ = false;
};

} // namespace panelkitd
