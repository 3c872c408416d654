// SPDX-License-Identifier: MIT
#include <platform/system/system_random.h>

#include <sys/random.h>

#include <cerrno>
#include <system_error>

namespace platform {

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

} // namespace platform
