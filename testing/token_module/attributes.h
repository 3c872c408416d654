// SPDX-License-Identifier: MIT
//
// The attributes of an object, as raw bytes by type, and the objects of a token: each is a file in the token's folder
// `objects`. Values may be secret, so they are wiped with the object that holds them. Callers of the store hold the
// FolderLock.
#pragma once

#include <p11-kit/pkcs11.h>

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace panelkit::testing {

class Attributes {
public:
    Attributes() = default;
    // Throws a Failure when an attribute has no value or comes twice.
    Attributes(const CK_ATTRIBUTE* attributes, CK_ULONG size);
    ~Attributes();
    Attributes(Attributes&&) = default;
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    const std::string* find(CK_ATTRIBUTE_TYPE type) const; // null: none
    bool isTrue(CK_ATTRIBUTE_TYPE type) const;             // false when there is none
    CK_ULONG number(CK_ATTRIBUTE_TYPE type) const;         // CK_UNAVAILABLE_INFORMATION when there is none
    void set(CK_ATTRIBUTE_TYPE type, std::string_view value);
    void setUnlessThere(CK_ATTRIBUTE_TYPE type, std::string_view value);
    void setAll(const Attributes& others);

    bool contain(const Attributes& wanted) const;
    bool secret(CK_ATTRIBUTE_TYPE type) const; // whether the value must not be shown

    std::string text() const; // to be wiped by the caller
    static Attributes parse(std::string_view text);

private:
    std::map<CK_ATTRIBUTE_TYPE, std::string> values_;
};

using SharedAttributes = std::shared_ptr<const Attributes>;

// The objects of one token. An object's handle is its number in the whole folder, never used twice.
class ObjectStore {
public:
    ObjectStore(const std::filesystem::path& folder, std::string_view token);

    std::vector<CK_OBJECT_HANDLE> handles() const;        // in the order in which they were made
    SharedAttributes load(CK_OBJECT_HANDLE handle) const; // null: no such object
    CK_OBJECT_HANDLE add(const Attributes& object);
    void store(CK_OBJECT_HANDLE handle, const Attributes& object);
    void remove(CK_OBJECT_HANDLE handle);
    void removeAll();

private:
    std::filesystem::path file(CK_OBJECT_HANDLE handle) const;

    std::filesystem::path counter_;
    std::filesystem::path objects_;
};

} // namespace panelkit::testing
