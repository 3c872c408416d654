// SPDX-License-Identifier: MIT
//
// The processes in which the service runs modules, and what /proc says of a process.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

// The processes that the service has started, and that run.
inline std::vector<std::int64_t> hostsOf(std::int64_t service) {
    std::vector<std::int64_t> hosts;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        std::ifstream stat(entry.path() / "stat");
        std::int64_t process = 0, parent = 0;
        std::string name, state;
        if (stat >> process >> name >> state >> parent && parent == service && state != "Z") hosts.push_back(process);
    }
    return hosts;
}

inline std::filesystem::path folderOf(std::int64_t process) { return "/proc/" + std::to_string(process); }

// A number of /proc/PID/status, in bytes.
inline std::uint64_t memoryOf(std::int64_t process, const std::string& what) {
    std::ifstream status(folderOf(process) / "status");
    for (std::string name; status >> name;) {
        std::uint64_t kibibytes = 0;
        if (name == what + ":" && status >> kibibytes) return kibibytes << 10;
    }
    return 0;
}
