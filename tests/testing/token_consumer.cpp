// SPDX-License-Identifier: MIT
#include "token_consumer.h"

#include <utility>

Template& Template::text(CK_ATTRIBUTE_TYPE type, std::string value) {
    fields_.emplace_back(type, std::move(value));
    return *this;
}

Template& Template::number(CK_ATTRIBUTE_TYPE type, CK_ULONG value) {
    return text(type, {reinterpret_cast<const char*>(&value), sizeof value});
}

CK_ATTRIBUTE* Template::data() {
    attributes_.clear();
    for (auto& [type, value] : fields_) {
        attributes_.push_back({type, value.data(), static_cast<CK_ULONG>(value.size())});
    }
    return attributes_.data();
}

std::string Template::value(std::size_t index) const {
    return fields_.at(index).second.substr(0, attributes_.at(index).ulValueLen);
}

TheTestToken::TheTestToken() {
    control.createToken("office", {.label = "Office", .soPin = "so-secret", .userPin = "1234"});
    control.insert("reader", "office");
    control.enter();
    library.getFunctionList()(&p11);
    EXPECT_EQ(p11->C_Initialize(nullptr), CKR_OK);
}

TheTestToken::~TheTestToken() { p11->C_Finalize(nullptr); }

void TheTestToken::restart() {
    EXPECT_EQ(p11->C_Finalize(nullptr), CKR_OK);
    EXPECT_EQ(p11->C_Initialize(nullptr), CKR_OK);
}

// Has room from the start: between a call for the size and one for the slots, a token may be inserted.
std::vector<CK_SLOT_ID> TheTestToken::slots(bool withToken) {
    std::vector<CK_SLOT_ID> ids(100);
    CK_ULONG count = 100;
    EXPECT_EQ(p11->C_GetSlotList(withToken, ids.data(), &count), CKR_OK);
    ids.resize(count);
    return ids;
}

CK_TOKEN_INFO TheTestToken::tokenInfo() {
    CK_TOKEN_INFO info{};
    EXPECT_EQ(p11->C_GetTokenInfo(slot(), &info), CKR_OK);
    return info;
}

CK_SESSION_HANDLE TheTestToken::open(CK_FLAGS flags) {
    CK_SESSION_HANDLE session = 0;
    EXPECT_EQ(p11->C_OpenSession(slot(), flags, nullptr, nullptr, &session), CKR_OK);
    return session;
}

CK_RV TheTestToken::login(CK_SESSION_HANDLE session, std::string pin, CK_USER_TYPE user) {
    auto* bytes = reinterpret_cast<unsigned char*>(pin.data());
    return p11->C_Login(session, user, bytes, static_cast<CK_ULONG>(pin.size()));
}

CK_RV TheTestToken::setPin(CK_SESSION_HANDLE session, std::string oldPin, std::string newPin) {
    return p11->C_SetPIN(session, reinterpret_cast<unsigned char*>(oldPin.data()), static_cast<CK_ULONG>(oldPin.size()),
                         reinterpret_cast<unsigned char*>(newPin.data()), static_cast<CK_ULONG>(newPin.size()));
}

CK_RV TheTestToken::create(CK_SESSION_HANDLE session, Template attributes, CK_OBJECT_HANDLE* object) {
    CK_OBJECT_HANDLE ignored = 0;
    return p11->C_CreateObject(session, attributes.data(), attributes.size(), object ? object : &ignored);
}
