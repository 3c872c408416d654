// SPDX-License-Identifier: MIT
#include <platform/system/account_files.h>

#include <platform/system/files.h>

#include <grp.h>
#include <pwd.h>
#include <sys/fsuid.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

namespace platform {

namespace {

struct Rights {
    uid_t user = 0;
    gid_t group = 0;
    std::vector<gid_t> groups; // all of them
};

[[noreturn]] void fail(const std::string& path, int error) {
    throw FileError(path, std::generic_category().message(error));
}

// nullopt when there is no such account.
std::optional<Rights> rightsOf(const std::string& userName, const std::string& path) {
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    const int error = ::getpwnam_r(userName.c_str(), &entry, buffer.data(), buffer.size(), &found);
    if (error != 0) fail(path, error);
    if (!found) return std::nullopt;
    Rights rights{entry.pw_uid, entry.pw_gid, std::vector<gid_t>(64)};
    auto count = static_cast<int>(rights.groups.size());
    while (::getgrouplist(userName.c_str(), rights.group, rights.groups.data(), &count) < 0) {
        rights.groups.resize(rights.groups.size() * 2);
        count = static_cast<int>(rights.groups.size());
    }
    rights.groups.resize(static_cast<std::size_t>(count));
    return rights;
}

// For the calling thread only: the library's setgroups() would change all threads, the system call does not. A thread
// whose file user is not the superuser loses the capabilities that override file rights. The two calls for user and
// group report no failure, so the result is asked for.
void take(const Rights& rights, const std::string& path) {
    if (::syscall(SYS_setgroups, rights.groups.size(), rights.groups.data()) != 0) fail(path, errno);
    ::setfsgid(rights.group);
    ::setfsuid(rights.user);
    constexpr auto ask = static_cast<uid_t>(-1);
    if (static_cast<gid_t>(::setfsgid(ask)) != rights.group || static_cast<uid_t>(::setfsuid(ask)) != rights.user) {
        fail(path, EPERM);
    }
}

} // namespace

// The thread ends with the rights that it has taken, so they are never given back.
std::string readFileAs(const std::string& userName, const std::string& path, std::uint64_t limit) {
    if (userName.empty() || ::geteuid() != 0) return readFile(path, limit);
    const std::optional<Rights> rights = rightsOf(userName, path);
    if (!rights || rights->user == ::geteuid()) return readFile(path, limit);
    std::string content;
    std::exception_ptr failure;
    const auto read = [&] {
        try {
            take(*rights, path);
            content = readFile(path, limit);
        } catch (...) {
            failure = std::current_exception();
        }
    };
    try {
        std::thread(read).join();
    } catch (const std::system_error& error) {
        throw FileError(path, error.what());
    }
    if (failure) std::rethrow_exception(failure);
    return content;
}

} // namespace platform
