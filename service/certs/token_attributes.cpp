// SPDX-License-Identifier: MIT
#include <service/certs/token_attributes.h>

#include <service/base/log.h>
#include <service/base/refused.h>
#include <service/tokens/cryptoki.h>

#include <platform/system/wipe.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace panelkitd {

namespace {

constexpr std::size_t usualSize = 2048;               // of an attribute; a larger one takes two calls more
constexpr CK_ULONG largestSize = CK_ULONG{32} << 20U; // a module that announces more is not believed
constexpr std::size_t mostObjects = 100'000;
constexpr CK_ULONG absentSize = ~CK_ULONG{0}; // what PKCS#11 says of a value that is not there

template <class T>
std::string memoryOf(const T& value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

} // namespace

// ---- templates

ObjectTemplate::~ObjectTemplate() {
    for (auto& [type, value] : values_) platform::wipe(value);
}

ObjectTemplate& ObjectTemplate::bytes(CK_ATTRIBUTE_TYPE type, const std::string& value) {
    values_.emplace_back(type, value);
    return *this;
}

ObjectTemplate& ObjectTemplate::number(CK_ATTRIBUTE_TYPE type, CK_ULONG value) { return bytes(type, memoryOf(value)); }

ObjectTemplate& ObjectTemplate::flag(CK_ATTRIBUTE_TYPE type, bool value) {
    const CK_BBOOL byte = value ? CK_TRUE : CK_FALSE;
    return bytes(type, memoryOf(byte));
}

std::vector<CK_ATTRIBUTE> ObjectTemplate::attributes() {
    std::vector<CK_ATTRIBUTE> list;
    for (auto& [type, value] : values_) list.push_back({type, value.data(), static_cast<CK_ULONG>(value.size())});
    return list;
}

// ---- objects

std::vector<CK_OBJECT_HANDLE> OpenToken::find(ObjectTemplate& wanted) const {
    std::vector<CK_ATTRIBUTE> attributes = wanted.attributes();
    check(library()->C_FindObjectsInit(session(), attributes.data(), static_cast<CK_ULONG>(attributes.size())),
          "C_FindObjectsInit");
    std::vector<CK_OBJECT_HANDLE> found;
    std::array<CK_OBJECT_HANDLE, 512> some{};
    CK_RV result = CKR_OK;
    for (CK_ULONG count = some.size(); count > 0 && found.size() < mostObjects;) {
        result = library()->C_FindObjects(session(), some.data(), some.size(), &count);
        if (result == CKR_OK && count > some.size()) result = CKR_GENERAL_ERROR; // more than it had room for
        if (result != CKR_OK) break;
        found.insert(found.end(), some.begin(), some.begin() + static_cast<std::ptrdiff_t>(count));
    }
    library()->C_FindObjectsFinal(session());
    check(result, "C_FindObjects");
    return found;
}

CK_OBJECT_HANDLE OpenToken::create(ObjectTemplate& object) const {
    std::vector<CK_ATTRIBUTE> attributes = object.attributes();
    CK_OBJECT_HANDLE handle = 0;
    check(library()->C_CreateObject(session(), attributes.data(), static_cast<CK_ULONG>(attributes.size()), &handle),
          "C_CreateObject");
    return handle;
}

void OpenToken::destroy(CK_OBJECT_HANDLE object) const {
    check(library()->C_DestroyObject(session(), object), "C_DestroyObject");
}

// ---- attributes

AttributeReader::AttributeReader(const OpenToken& token, std::vector<CK_ATTRIBUTE_TYPE> types)
    : token_(token), types_(std::move(types)), buffers_(types_.size(), std::string(usualSize, '\0')) {}

AttributeReader::~AttributeReader() {
    for (std::string& buffer : buffers_) platform::wipe(buffer);
}

CK_RV AttributeReader::fetch(CK_OBJECT_HANDLE object) {
    values_.clear();
    for (std::size_t i = 0; i < types_.size(); ++i) {
        values_.push_back({types_[i], buffers_[i].data(), static_cast<CK_ULONG>(buffers_[i].size())});
    }
    return token_.library()->C_GetAttributeValue(token_.session(), object, values_.data(),
                                                 static_cast<CK_ULONG>(values_.size()));
}

// Makes room for what did not fit.
void AttributeReader::grow(CK_OBJECT_HANDLE object) {
    values_.clear();
    for (const CK_ATTRIBUTE_TYPE type : types_) values_.push_back({type, nullptr, 0});
    token_.library()->C_GetAttributeValue(token_.session(), object, values_.data(),
                                          static_cast<CK_ULONG>(values_.size()));
    for (std::size_t i = 0; i < types_.size(); ++i) {
        const CK_ULONG size = values_[i].ulValueLen;
        if (size != absentSize && size > buffers_[i].size() && size <= largestSize) buffers_[i].resize(size);
    }
}

bool AttributeReader::read(CK_OBJECT_HANDLE object) {
    CK_RV result = fetch(object);
    if (result == CKR_BUFFER_TOO_SMALL) {
        grow(object);
        result = fetch(object);
    }
    if (result == CKR_OBJECT_HANDLE_INVALID) return false;
    // The others were read; the value that is secret or unknown is marked.
    if (result != CKR_ATTRIBUTE_SENSITIVE && result != CKR_ATTRIBUTE_TYPE_INVALID && result != CKR_BUFFER_TOO_SMALL) {
        check(result, "C_GetAttributeValue");
    }
    return true;
}

std::string AttributeReader::bytes(std::size_t place) const {
    const CK_ULONG size = values_[place].ulValueLen;
    if (size == absentSize || size > buffers_[place].size()) return {};
    return buffers_[place].substr(0, size);
}

bool AttributeReader::flag(std::size_t place, bool absent) const {
    return values_[place].ulValueLen == sizeof(CK_BBOOL) ? buffers_[place][0] != CK_FALSE : absent;
}

CK_ULONG AttributeReader::number(std::size_t place, CK_ULONG absent) const {
    CK_ULONG value = absent;
    if (values_[place].ulValueLen == sizeof value) std::memcpy(&value, buffers_[place].data(), sizeof value);
    return value;
}

// ---- making

CK_OBJECT_HANDLE ObjectsMade::create(ObjectTemplate& object) {
    made_.reserve(made_.size() + 1);
    made_.push_back(token_.create(object));
    return made_.back();
}

ObjectsMade::~ObjectsMade() {
    for (auto object = made_.rbegin(); object != made_.rend(); ++object) {
        const CK_RV result = token_.library()->C_DestroyObject(token_.session(), *object);
        if (result != CKR_OK) logError("an object of a failed import stays on the token: " + resultName(result));
    }
}

} // namespace panelkitd
