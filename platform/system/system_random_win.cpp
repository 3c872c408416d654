// SPDX-License-Identifier: MIT
#include <platform/system/system_random.h>

#include <windows.h>

#include <bcrypt.h>

#include <system_error>

namespace platform {

void fillRandom(void* bytes, std::size_t size) {
    const NTSTATUS status =
        BCryptGenRandom(nullptr, static_cast<PUCHAR>(bytes), static_cast<ULONG>(size), BCRYPT_USE_SYSTEM_PREFERRED_RNG);
    if (status < 0) throw std::system_error(static_cast<int>(status), std::system_category(), "no random bytes");
}

} // namespace platform
