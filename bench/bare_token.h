// SPDX-License-Identifier: MIT
//
// A token as a plain program uses it: the module in its own process, called through the bare interface of PKCS#11. The
// other side of measurements.
#pragma once

#include <p11-kit/pkcs11.h>
#include <service/modules/cryptoki.h>
#include <service/modules/pkcs11_library.h>

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

// The attributes of an object for a call. They point into what they were given.
class BareTemplate {
public:
    BareTemplate& number(CK_ATTRIBUTE_TYPE type, const CK_ULONG& value) { return add(type, &value, sizeof value); }
    BareTemplate& flag(CK_ATTRIBUTE_TYPE type, bool value) { return add(type, value ? &yes : &no, sizeof yes); }
    BareTemplate& bytes(CK_ATTRIBUTE_TYPE type, std::string_view value) {
        return add(type, value.data(), value.size());
    }
    CK_ATTRIBUTE* data() { return attributes_.data(); }
    CK_ULONG size() const { return static_cast<CK_ULONG>(attributes_.size()); }

private:
    static constexpr CK_BBOOL yes = CK_TRUE, no = CK_FALSE;

    BareTemplate& add(CK_ATTRIBUTE_TYPE type, const void* value, std::size_t size) {
        attributes_.push_back({type, const_cast<void*>(value), static_cast<CK_ULONG>(size)}); // NOLINT(*-const-cast)
        return *this;
    }

    std::vector<CK_ATTRIBUTE> attributes_;
};

inline constexpr std::array<CK_ATTRIBUTE_TYPE, 5> listedTypes = {CKA_VALUE, CKA_ID, CKA_LABEL, CKA_TRUSTED,
                                                                 CKA_PRIVATE};

class BareToken {
public:
    BareToken(const panelkitd::Pkcs11Library& library, CK_SLOT_ID slot) : library_(library) {
        panelkitd::check(
            library_->C_OpenSession(slot, CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &session_),
            "C_OpenSession");
    }
    ~BareToken() { library_->C_CloseSession(session_); }
    BareToken(const BareToken&) = delete;
    BareToken& operator=(const BareToken&) = delete;

    void login(std::string_view pin, CK_USER_TYPE user = CKU_USER) const {
        panelkitd::check(library_->C_Login(session_, user, panelkitd::mutableBytes(pin), pin.size()), "C_Login");
    }
    void logout() const { panelkitd::check(library_->C_Logout(session_), "C_Logout"); }

    CK_OBJECT_HANDLE create(BareTemplate object) const {
        CK_OBJECT_HANDLE handle = 0;
        panelkitd::check(library_->C_CreateObject(session_, object.data(), object.size(), &handle), "C_CreateObject");
        return handle;
    }

    // Reads listedTypes of every certificate; returns their values.
    std::vector<std::array<std::string, listedTypes.size()>> certificates() const {
        const std::vector<CK_OBJECT_HANDLE> found = find();
        std::vector<std::array<std::string, listedTypes.size()>> all;
        all.reserve(found.size());
        for (const CK_OBJECT_HANDLE object : found) all.push_back(read(object));
        return all;
    }

    void destroyCertificates() const {
        for (const CK_OBJECT_HANDLE object : find()) {
            panelkitd::check(library_->C_DestroyObject(session_, object), "C_DestroyObject");
        }
    }

    CK_SESSION_HANDLE session() const { return session_; }

private:
    std::vector<CK_OBJECT_HANDLE> find() const {
        const CK_ULONG kind = CKO_CERTIFICATE;
        BareTemplate wanted;
        wanted.number(CKA_CLASS, kind);
        panelkitd::check(library_->C_FindObjectsInit(session_, wanted.data(), wanted.size()), "C_FindObjectsInit");
        std::vector<CK_OBJECT_HANDLE> found;
        std::array<CK_OBJECT_HANDLE, 512> some{};
        for (CK_ULONG count = some.size(); count == some.size();) {
            panelkitd::check(library_->C_FindObjects(session_, some.data(), some.size(), &count), "C_FindObjects");
            found.insert(found.end(), some.begin(), some.begin() + static_cast<std::ptrdiff_t>(count));
        }
        library_->C_FindObjectsFinal(session_);
        return found;
    }

    std::array<std::string, listedTypes.size()> read(CK_OBJECT_HANDLE object) const {
        static std::array<std::array<char, 2048>, listedTypes.size()> room;
        std::array<CK_ATTRIBUTE, listedTypes.size()> attributes{};
        for (std::size_t i = 0; i < attributes.size(); ++i) {
            attributes[i] = {listedTypes[i], room[i].data(), static_cast<CK_ULONG>(room[i].size())};
        }
        library_->C_GetAttributeValue(session_, object, attributes.data(), attributes.size());
        std::array<std::string, listedTypes.size()> values;
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (attributes[i].ulValueLen <= room[i].size()) values[i].assign(room[i].data(), attributes[i].ulValueLen);
        }
        return values;
    }

    const panelkitd::Pkcs11Library& library_;
    CK_SESSION_HANDLE session_ = 0;
};

} // namespace bench
