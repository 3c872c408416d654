// SPDX-License-Identifier: MIT
//
// This process and its new sessions as another account for a while. Only root can do that.
#pragma once

#include "service_fixture.h"

#include <platform/system/host.h>

#include <grp.h>
#include <unistd.h>

#include <cstdlib>

inline gid_t groupNumber(const std::string& name) { return static_cast<gid_t>(std::stoul(platform::groupId(name))); }
inline uid_t userNumber(const std::string& name) { return static_cast<uid_t>(std::stoul(platform::userId(name))); }

// While this exists, the process is that user, in the group "nogroup" and in the named ones.
class As {
public:
    explicit As(const std::string& user, const std::vector<std::string>& groups = {"games"}) {
        closePooledSessions();
        std::vector<gid_t> numbers;
        for (const std::string& group : groups) numbers.push_back(groupNumber(group));
        if (::setgroups(numbers.size(), numbers.data()) != 0 || ::setegid(groupNumber("nogroup")) != 0 ||
            ::seteuid(userNumber(user)) != 0) {
            throw std::runtime_error("can't become somebody else");
        }
    }
    ~As() {
        closePooledSessions();
        if (::seteuid(0) != 0 || ::setegid(0) != 0 || ::setgroups(0, nullptr) != 0) std::abort();
    }
    As(const As&) = delete;
    As& operator=(const As&) = delete;

    static bool canBecome() { return ::geteuid() == 0; }
};
