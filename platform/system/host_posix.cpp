// SPDX-License-Identifier: MIT
#include <platform/system/host.h>

#include <grp.h>
#include <malloc.h>
#include <pwd.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdint>
#include <system_error>
#include <utility>
#include <vector>

namespace platform {

// ---- accounts

namespace {

// Runs one of the get...._r look-ups with a buffer that grows until the entry fits, and returns what `read` takes from
// the entry; the empty text when there is no entry.
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

// ---- time

std::optional<std::tm> localTime(std::int64_t seconds) {
    if (!std::in_range<time_t>(seconds)) return std::nullopt;
    const auto time = static_cast<time_t>(seconds);
    std::tm local{};
    if (!localtime_r(&time, &local)) return std::nullopt;
    return local;
}

// ---- arguments and environment

// Names of files are bytes, so nothing is converted.
std::vector<std::string> utf8Arguments(int argc, char** argv) { return {argv + std::min(argc, 1), argv + argc}; }

std::string trustedVariable(const char* name) {
    const char* value = ::secure_getenv(name);
    return value ? value : "";
}

// ---- random bytes

void fillRandom(void* bytes, std::size_t size) {
    auto* place = static_cast<char*>(bytes);
    while (size > 0) {
        const ssize_t count = ::getrandom(place, size, 0);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw std::system_error(errno, std::generic_category(), "no random bytes");
        place += count;
        size -= static_cast<std::size_t>(count);
    }
}

// ---- memory

void adviseHugePages(void* bytes, std::size_t size) {
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto start = (reinterpret_cast<std::uintptr_t>(bytes) + page - 1) / page * page;
    const auto end = (reinterpret_cast<std::uintptr_t>(bytes) + size) / page * page;
    if (start < end) madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);
}

// By default glibc raises both limits to the size of the largest block that was freed, up to 32 and 64 MiB, and each
// thread's arena keeps that much. Limits that were set stay as they are. Usual replies stay below them. There are eight
// arenas for each processor by default, each of which could keep 4 MiB; few threads wait for one another with four,
// since each has a cache of small blocks.
void returnFreedMemory() {
    mallopt(M_MMAP_THRESHOLD, 2 << 20);
    mallopt(M_TRIM_THRESHOLD, 4 << 20);
    mallopt(M_ARENA_MAX, 4);
}

} // namespace platform
