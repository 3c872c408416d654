// SPDX-License-Identifier: MIT
//
// The attributes of objects on a token: those that an object is searched by or created from, and those that were read.
#pragma once

#include <service/tokens/held_token.h>

#include <p11-kit/pkcs11.h>

#include <string>
#include <vector>

namespace panelkitd {

// The attributes that an object is searched by or created from. The destructor wipes them.
class ObjectTemplate {
public:
    ObjectTemplate() { host_.attributes.reserve(mostAttributes); } // no copies of secrets are left behind by growing

    ObjectTemplate& bytes(CK_ATTRIBUTE_TYPE type, std::string_view value);
    ObjectTemplate& number(CK_ATTRIBUTE_TYPE type, CK_ULONG value);
    ObjectTemplate& flag(CK_ATTRIBUTE_TYPE type, bool value);

    operator const HostTemplate&() const { return host_; } // NOLINT(google-explicit-constructor): it is one

private:
    static constexpr std::size_t mostAttributes = 24;
    HostTemplate host_;
};

// The values of an object that was read, by their place in the request. The object may not have a value, or may keep it
// secret.
class ObjectValues {
public:
    explicit ObjectValues(const std::vector<HostValue>& values) : values_(values) {}

    const std::string& bytes(std::size_t place) const { return values_[place].bytes; } // empty when there are none
    bool flag(std::size_t place, bool absent = false) const;
    CK_ULONG number(std::size_t place, CK_ULONG absent) const;

private:
    const std::vector<HostValue>& values_;
};

} // namespace panelkitd
