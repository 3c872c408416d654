// SPDX-License-Identifier: MIT
#include <service/engine/ike_daemon.h>

#include <service/base/log.h>
#include <service/engine/engine.h>

#include <platform/system/files.h>

#include <netdb.h>
#include <netinet/in.h>
#include <signal.h> // NOLINT(modernize-deprecated-headers): for kill()
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <system_error>
#include <thread>

namespace panelkitd {

using vocabulary::Refused;

namespace {

constexpr auto commandLimit = std::chrono::seconds(5);

// An association that no packet uses, with keys of zeros.
bool tryEsp(const char* action, const std::vector<std::string>& algorithms) {
    platform::ChildOptions options;
    options.arguments = {"ip",  "xfrm",      "state", action, "src", "127.0.0.1",
                         "dst", "127.0.0.1", "proto", "esp",  "spi", "0x70616e65"};
    options.arguments.insert(options.arguments.end(), algorithms.begin(), algorithms.end());
    try {
        const platform::ChildResult result = platform::runChild(options, commandLimit);
        return result.ending == platform::Ending::exited && result.status == 0;
    } catch (const std::exception&) { // there is no such program
        return false;
    }
}

bool isFree(std::uint16_t port) {
    const int handle = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (handle < 0) return true; // the daemon itself will say what is wrong
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    const bool taken =
        ::bind(handle, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 && errno == EADDRINUSE;
    ::close(handle);
    return !taken;
}

std::optional<pid_t> processNumber(const std::string& name) {
    pid_t pid = 0;
    const char* const end = name.data() + name.size();
    const auto [stop, wrong] = std::from_chars(name.data(), end, pid);
    if (wrong != std::errc() || stop != end) return std::nullopt;
    return pid;
}

// Whether the process was started with that entry in its environment. Other accounts' processes can't be read.
bool wasStartedWith(const std::string& folder, const std::string& entry) {
    std::ifstream file(folder + "/environ", std::ios::binary);
    const std::string all{std::istreambuf_iterator<char>(file), {}};
    return ('\0' + all).find('\0' + entry + '\0') != std::string::npos;
}

std::optional<pid_t> processWith(const std::string& entry) {
    std::error_code error;
    for (const auto& process : std::filesystem::directory_iterator("/proc", error)) {
        const auto pid = processNumber(process.path().filename().string());
        if (pid && *pid != ::getpid() && wasStartedWith(process.path().string(), entry)) return pid;
    }
    return std::nullopt;
}

} // namespace

bool kernelHasEsp() {
    const std::string zeros = "0x" + std::string(64, '0');
    const bool has =
        tryEsp("add", {"mode", "tunnel", "enc", "cbc(aes)", zeros, "auth-trunc", "hmac(sha256)", zeros, "128"});
    if (has) tryEsp("delete", {});
    return has;
}

void endLeftOver(const std::string& configuration) {
    const std::string entry = "STRONGSWAN_CONF=" + configuration;
    for (unsigned tries = 0; tries < 100; ++tries) {
        const auto pid = processWith(entry);
        if (!pid) return;
        if (tries == 0) logEvent("ending the IKE daemon of a former service, process " + std::to_string(*pid));
        ::kill(*pid, tries < 50 ? SIGTERM : SIGKILL);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    throw EngineError({remark(Refused::none, "the IKE daemon of a former service does not end")});
}

bool hasAddress(const std::string& host) {
    addrinfo* found = nullptr;
    const bool has = ::getaddrinfo(host.c_str(), nullptr, nullptr, &found) == 0 && found;
    if (found) ::freeaddrinfo(found);
    return has;
}

namespace {

std::optional<bridge::Remark> problemOf(const std::filesystem::path& path, bool isSocket) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        if (isSocket && errno == ENOENT) return std::nullopt; // it may come
        return remark(Refused::none, "%s can't be examined: %s", path.string(), std::generic_category().message(errno));
    }
    if (status.st_uid != 0) return remark(Refused::none, "%s does not belong to root", path.string());
    if (isSocket && !S_ISSOCK(status.st_mode)) return remark(Refused::none, "%s is not a socket", path.string());
    const bool othersWrite = (status.st_mode & S_IWOTH) != 0 || ((status.st_mode & S_IWGRP) != 0 && status.st_gid != 0);
    if (isSocket || !othersWrite || (status.st_mode & S_ISVTX) != 0) return std::nullopt;
    return remark(Refused::none, "%s can be written by other accounts", path.string());
}

} // namespace

void requireSocketOfRoot(const std::string& path) {
    const auto refuse = [&](const bridge::Remark& why) {
        throw EngineError({remark(Refused::none, "the socket %s can't be trusted", path), why});
    };
    if (!path.starts_with('/')) refuse(remark(Refused::none, "its path is not absolute: %s", path));
    const std::filesystem::path given(path);
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::canonical(given.parent_path(), error);
    if (error) refuse(remark(Refused::none, "%s can't be examined: %s", given.parent_path().string(), error.message()));
    if (const auto why = problemOf(folder / given.filename(), true)) refuse(*why);
    for (std::filesystem::path part = folder;; part = part.parent_path()) {
        if (const auto why = problemOf(part, false)) refuse(*why);
        if (part == part.root_path()) return;
    }
}

void requireFreePorts() {
    for (const std::uint16_t port : std::array<std::uint16_t, 2>{500, 4500}) {
        if (isFree(port)) continue;
        throw EngineError({remark(Refused::none,
                                  "another program uses UDP port %d, perhaps another IKE daemon; end it, or use "
                                  "the engine \"record\"",
                                  port)});
    }
}

} // namespace panelkitd
