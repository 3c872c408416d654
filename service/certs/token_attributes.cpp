// SPDX-License-Identifier: MIT
#include <service/certs/token_attributes.h>

#include <cstring>

namespace panelkitd {

namespace {

template <class T>
std::string memoryOf(const T& value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

} // namespace

ObjectTemplate& ObjectTemplate::bytes(CK_ATTRIBUTE_TYPE type, std::string_view value) {
    host_.attributes.push_back({type, platform::Secret(value)});
    return *this;
}

ObjectTemplate& ObjectTemplate::number(CK_ATTRIBUTE_TYPE type, CK_ULONG value) { return bytes(type, memoryOf(value)); }

ObjectTemplate& ObjectTemplate::flag(CK_ATTRIBUTE_TYPE type, bool value) {
    const CK_BBOOL byte = value ? CK_TRUE : CK_FALSE;
    return bytes(type, memoryOf(byte));
}

bool ObjectValues::flag(std::size_t place, bool absent) const {
    const std::string& value = values_[place].bytes;
    return value.size() == sizeof(CK_BBOOL) ? value[0] != CK_FALSE : absent;
}

CK_ULONG ObjectValues::number(std::size_t place, CK_ULONG absent) const {
    const std::string& value = values_[place].bytes;
    CK_ULONG number = absent;
    if (value.size() == sizeof number) std::memcpy(&number, value.data(), sizeof number);
    return number;
}

} // namespace panelkitd
