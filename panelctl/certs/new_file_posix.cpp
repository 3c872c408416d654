// SPDX-License-Identifier: MIT
#include <panelctl/certs/new_file.h>

#include <panelctl/base/exit_codes.h>
#include <panelctl/base/say.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <system_error>

namespace panelctl {

namespace {

CommandError systemError(const std::string& path, int number) {
    return {Exit::failed, path + ": " + std::generic_category().message(number)};
}

bool writeAll(int descriptor, std::string_view content) {
    while (!content.empty()) {
        const ssize_t count = ::write(descriptor, content.data(), content.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        content.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

} // namespace

void writeNewFile(const std::string& utf8Path, const std::string& content) {
    const int descriptor = ::open(utf8Path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (descriptor < 0 && errno == EEXIST) {
        throw CommandError(Exit::badInput, say("%s already exists; nothing was written", utf8Path));
    }
    if (descriptor < 0) throw systemError(utf8Path, errno);
    const bool written = writeAll(descriptor, content);
    const int problem = errno;
    const bool closed = ::close(descriptor) == 0;
    if (written && closed) return;
    const int why = written ? errno : problem;
    ::unlink(utf8Path.c_str());
    throw systemError(utf8Path, why);
}

} // namespace panelctl
