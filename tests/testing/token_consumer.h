// SPDX-License-Identifier: MIT
//
// A consumer of the test token module for tests: the module loaded over a folder with the token "office" in the
// slot "reader", and short forms of the calls.
#pragma once

#include "../support/running_service.h"

#include <platform/system/dynamic_library.h>

#include <testing/token_module_control.h>

#include <gtest/gtest.h>
#include <p11-kit/pkcs11.h>

#include <string>
#include <utility>
#include <vector>

// A template of attributes that owns its values.
class Template {
public:
    Template& text(CK_ATTRIBUTE_TYPE type, std::string value);
    Template& number(CK_ATTRIBUTE_TYPE type, CK_ULONG value);

    CK_ATTRIBUTE* data(); // made again at each call, valid until the next one
    CK_ULONG size() const { return static_cast<CK_ULONG>(fields_.size()); }
    // Returns the value that a call stored in an attribute, and the size that it claims.
    std::string value(std::size_t index) const;
    CK_ULONG claimed(std::size_t index) const { return attributes_.at(index).ulValueLen; }

private:
    std::vector<std::pair<CK_ATTRIBUTE_TYPE, std::string>> fields_;
    std::vector<CK_ATTRIBUTE> attributes_;
};

// The test token module, loaded like any other.
class ModuleLibrary {
public:
    CK_C_GetFunctionList getFunctionList() const { return entry_; }

private:
    platform::DynamicLibrary library_{builtProgram(PANELKIT_TEST_TOKEN_FILE)};
    CK_C_GetFunctionList entry_ = library_.function<CK_C_GetFunctionList>("C_GetFunctionList");
};

class TheTestToken : public ::testing::Test {
protected:
    static constexpr CK_FLAGS readOnly = CKF_SERIAL_SESSION;
    static constexpr CK_FLAGS readWrite = CKF_SERIAL_SESSION | CKF_RW_SESSION;

    TheTestToken();
    ~TheTestToken() override; // finalises the module

    void restart(); // finalises and initialises
    std::vector<CK_SLOT_ID> slots(bool withToken = true);
    CK_SLOT_ID slot() { return slots().at(0); }
    CK_TOKEN_INFO tokenInfo();

    CK_SESSION_HANDLE open(CK_FLAGS flags = readWrite);
    CK_RV login(CK_SESSION_HANDLE session, std::string pin, CK_USER_TYPE user = CKU_USER);
    CK_RV setPin(CK_SESSION_HANDLE session, std::string oldPin, std::string newPin);
    CK_RV create(CK_SESSION_HANDLE session, Template attributes, CK_OBJECT_HANDLE* object = nullptr);

    panelkit::testing::TokenModuleControl control; // outlives the module
    ModuleLibrary library;
    CK_FUNCTION_LIST* p11 = nullptr;
};

// A field of fixed size, with its blanks.
template <std::size_t size>
std::string fieldText(const unsigned char (&field)[size]) {
    return {field, field + size};
}
