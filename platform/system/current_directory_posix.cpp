// SPDX-License-Identifier: MIT
#include <platform/system/current_directory.h>

#include <unistd.h>

namespace platform {

bool currentDirectory(char* buffer, std::size_t size) { return ::getcwd(buffer, size) != nullptr; }

} // namespace platform
