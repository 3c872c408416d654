// SPDX-License-Identifier: MIT
#include <panelctl/certs/memory_file.h>

#include <panelctl/base/exit_codes.h>
#include <panelctl/base/say.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <system_error>

namespace panelctl {

MemoryFile::MemoryFile(const std::string& content) : descriptor_(::memfd_create("panelctl", MFD_CLOEXEC)) {
    std::string_view rest = content;
    while (descriptor_ >= 0 && !rest.empty()) {
        const ssize_t count = ::write(descriptor_, rest.data(), rest.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        rest.remove_prefix(static_cast<std::size_t>(count));
    }
    if (descriptor_ < 0 || !rest.empty()) {
        const std::string why = std::generic_category().message(errno);
        if (descriptor_ >= 0) ::close(descriptor_);
        throw CommandError(Exit::failed, say("the data can't be kept in memory: %s", why));
    }
    path_ = "/proc/self/fd/" + std::to_string(descriptor_);
}

MemoryFile::~MemoryFile() { ::close(descriptor_); }

} // namespace panelctl
