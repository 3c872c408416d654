// SPDX-License-Identifier: MIT
//
// Network namespaces of this process, and the programs that set them up. Needs root.
#pragma once

#include <platform/system/child_process.h>

#include <fcntl.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>

inline int checked(int result, const char* what) {
    if (result < 0) throw std::system_error(errno, std::generic_category(), what);
    return result;
}

// The calling thread goes into a new namespace. Returns its descriptor.
inline int makeNamespace() {
    checked(::unshare(CLONE_NEWNET), "unshare");
    return checked(::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC), "network namespace");
}

// The name that `ip` takes for it.
inline std::string nameOf(int space) { return "/proc/" + std::to_string(::getpid()) + "/fd/" + std::to_string(space); }

// The calling thread is in another namespace while it lives.
class Inside {
public:
    Inside(int there, int back) : back_(back) { checked(::setns(there, CLONE_NEWNET), "setns"); }
    ~Inside() { ::setns(back_, CLONE_NEWNET); }
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;

private:
    int back_;
};

// Sees the frames of the namespace in which it is made.
inline int frameSocket(int flags = 0) {
    const int made = checked(::socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC | flags, htons(ETH_P_ALL)), "frames");
    const int room = 8 << 20;
    ::setsockopt(made, SOL_SOCKET, SO_RCVBUFFORCE, &room, sizeof room);
    return made;
}

// Runs a program with its arguments, split at blanks; throws std::runtime_error with what it said if it fails.
inline std::string runProgram(const std::string& command,
                              const std::map<std::string, std::optional<std::string>>& environment = {}) {
    platform::ChildOptions options;
    std::istringstream words(command);
    for (std::string word; words >> word;) options.arguments.push_back(word);
    options.environment = environment;
    const platform::ChildResult result = platform::runChild(options, std::chrono::seconds(60));
    if (result.status != 0) throw std::runtime_error(command + ": " + result.output + result.error);
    return result.output;
}
