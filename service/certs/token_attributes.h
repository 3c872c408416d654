// SPDX-License-Identifier: MIT
//
// Objects of a token: finding them, reading their attributes, making and destroying them.
#pragma once

#include <service/tokens/provider.h>

#include <p11-kit/pkcs11.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace panelkitd {

// The attributes that an object is searched by or made from. What it holds is wiped with it.
class ObjectTemplate {
public:
    ObjectTemplate() { values_.reserve(mostAttributes); } // no copies of secrets are left behind by growing
    ~ObjectTemplate();
    ObjectTemplate(const ObjectTemplate&) = delete;
    ObjectTemplate& operator=(const ObjectTemplate&) = delete;

    ObjectTemplate& bytes(CK_ATTRIBUTE_TYPE type, const std::string& value);
    ObjectTemplate& number(CK_ATTRIBUTE_TYPE type, CK_ULONG value);
    ObjectTemplate& flag(CK_ATTRIBUTE_TYPE type, bool value);

    // As PKCS#11 takes them; valid until the next addition.
    std::vector<CK_ATTRIBUTE> attributes();

private:
    static constexpr std::size_t mostAttributes = 24;
    std::vector<std::pair<CK_ATTRIBUTE_TYPE, std::string>> values_;
};

// A token in the hand and a session with it.
class OpenToken {
public:
    OpenToken(const HeldToken& token, TokenSession::Mode mode) : token_(token), session_(token.openSession(mode)) {}

    const HeldToken& token() const { return token_; }
    const Pkcs11Library& library() const { return token_.library(); }
    CK_SESSION_HANDLE session() const { return session_->handle(); }

    std::vector<CK_OBJECT_HANDLE> find(ObjectTemplate& wanted) const;
    CK_OBJECT_HANDLE create(ObjectTemplate& object) const;
    void destroy(CK_OBJECT_HANDLE object) const;

private:
    const HeldToken& token_;
    std::unique_ptr<TokenSession> session_;
};

// Reads the same attributes of one object after the other, with one call each where the values are of usual size.
class AttributeReader {
public:
    AttributeReader(const OpenToken& token, std::vector<CK_ATTRIBUTE_TYPE> types);
    ~AttributeReader();
    AttributeReader(const AttributeReader&) = delete;
    AttributeReader& operator=(const AttributeReader&) = delete;

    // False when the object is gone.
    bool read(CK_OBJECT_HANDLE object);

    // The values of the object that was read last, by place; empty or `absent` when it has none or keeps it secret.
    std::string bytes(std::size_t place) const;
    bool flag(std::size_t place, bool absent = false) const;
    CK_ULONG number(std::size_t place, CK_ULONG absent) const;

private:
    CK_RV fetch(CK_OBJECT_HANDLE object);
    void grow(CK_OBJECT_HANDLE object);

    const OpenToken& token_;
    const std::vector<CK_ATTRIBUTE_TYPE> types_;
    std::vector<std::string> buffers_;
    std::vector<CK_ATTRIBUTE> values_;
};

// Destroys again what it made, unless it is told to keep it: what fails half way leaves the token as it was.
class ObjectsMade {
public:
    explicit ObjectsMade(const OpenToken& token) : token_(token) {}
    ~ObjectsMade();
    ObjectsMade(const ObjectsMade&) = delete;
    ObjectsMade& operator=(const ObjectsMade&) = delete;

    CK_OBJECT_HANDLE create(ObjectTemplate& object);
    void add(CK_OBJECT_HANDLE object) { made_.push_back(object); }
    void keep() { made_.clear(); }

private:
    const OpenToken& token_;
    std::vector<CK_OBJECT_HANDLE> made_;
};

} // namespace panelkitd
