// SPDX-License-Identifier: MIT
#include <platform/system/accounts.h>

#include <grp.h>
#include <pwd.h>

#include <cerrno>
#include <charconv>
#include <vector>

namespace platform {

namespace {

// Runs one of the get...._r look-ups with a buffer that grows until the entry fits, and gives what `read` takes
// from the entry; the empty text when there is none.
template <class Entry, class Lookup, class Read>
std::string lookUp(Lookup&& call, Read&& read) {
    std::vector<char> buffer(1024);
    for (;;) {
        Entry entry{};
        Entry* found = nullptr;
        const int error = call(&entry, buffer.data(), buffer.size(), &found);
        if (error != ERANGE) return error == 0 && found ? read(*found) : std::string();
        buffer.resize(buffer.size() * 2);
    }
}

// By the decimal number of an account.
template <class Read>
std::string lookUpUser(const std::string& number, Read&& read) {
    uid_t uid = 0;
    const char* end = number.data() + number.size();
    if (const auto parsed = std::from_chars(number.data(), end, uid); parsed.ec != std::errc() || parsed.ptr != end) {
        return {};
    }
    return lookUp<passwd>([uid](auto... to) { return ::getpwuid_r(uid, to...); }, read);
}

} // namespace

std::string userName(const std::string& userId) {
    return lookUpUser(userId, [](const passwd& entry) { return std::string(entry.pw_name); });
}

std::string userHome(const std::string& userId) {
    return lookUpUser(userId, [](const passwd& entry) { return std::string(entry.pw_dir); });
}

std::string userId(const std::string& userName) {
    return lookUp<passwd>([&](auto... to) { return ::getpwnam_r(userName.c_str(), to...); },
                          [](const passwd& entry) { return std::to_string(entry.pw_uid); });
}

std::string groupId(const std::string& groupName) {
    return lookUp<group>([&](auto... to) { return ::getgrnam_r(groupName.c_str(), to...); },
                         [](const group& entry) { return std::to_string(entry.gr_gid); });
}

} // namespace platform
