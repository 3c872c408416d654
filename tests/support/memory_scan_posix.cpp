// SPDX-License-Identifier: MIT
#include "memory_scan.h"

#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace {

std::string procFile(std::int64_t process, const char* name) { return "/proc/" + std::to_string(process) + "/" + name; }

std::size_t count(const std::vector<char>& bytes, const std::string& needle) {
    const std::string_view text(bytes.data(), bytes.size());
    std::size_t found = 0;
    for (std::size_t at = text.find(needle); at != std::string_view::npos; at = text.find(needle, at + 1)) ++found;
    return found;
}

} // namespace

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define PANELKIT_MEMORY_OF_A_SANITIZER
#endif
#endif

bool memoryCanBeScanned() {
#ifdef PANELKIT_MEMORY_OF_A_SANITIZER
    return false;
#else
    return true;
#endif
}

std::size_t occurrencesInMemory(std::int64_t process, const std::string& secret) {
    constexpr std::size_t overwritten = 16, leastToBeFound = 8;
    const bool isLong = secret.size() >= overwritten + leastToBeFound;
    const std::string needle = isLong ? secret.substr(overwritten) : secret;
    std::ifstream maps(procFile(process, "maps"));
    const int memory = ::open(procFile(process, "mem").c_str(), O_RDONLY);
    if (!maps || memory < 0) throw std::runtime_error("the memory of another process can't be read here");
    std::size_t found = 0;
    std::size_t readable = 0;
    for (std::string line; std::getline(maps, line);) {
        std::istringstream fields(line);
        std::uintptr_t first = 0;
        std::uintptr_t last = 0;
        char dash{};
        std::string permissions;
        fields >> std::hex >> first >> dash >> last >> permissions;
        if (permissions.size() < 2 || permissions[0] != 'r' || permissions[1] != 'w') continue;
        std::vector<char> bytes(last - first);
        const ssize_t got = ::pread(memory, bytes.data(), bytes.size(), static_cast<off_t>(first));
        if (got <= 0) continue;
        bytes.resize(static_cast<std::size_t>(got));
        readable += bytes.size();
        found += count(bytes, needle);
    }
    ::close(memory);
    if (readable == 0) throw std::runtime_error("the memory of another process can't be read here");
    return found;
}

bool shownInProcessList(std::int64_t process, const std::string& needle) {
    for (const char* name : {"cmdline", "environ"}) {
        std::ifstream file(procFile(process, name), std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
        if (count(bytes, needle) > 0) return true;
    }
    return false;
}
