// SPDX-License-Identifier: MIT
#include <panelctl/base/host.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace panelctl {

void occupyStandardStreams() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (::fcntl(stream, F_GETFD) >= 0 || errno != EBADF) continue;
        // The system takes the lowest free number, which is this one. It stays open; reading or writing it fails.
        [[maybe_unused]] const int taken = ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

std::filesystem::path programFolder() {
    std::error_code ignored;
    return std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path();
}

std::optional<std::string> environmentLocale() {
    for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value && *value) return value;
    }
    return "";
}

} // namespace panelctl
