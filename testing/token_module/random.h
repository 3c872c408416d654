// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <random>
#include <string>

namespace panelkit::testing {

inline std::string randomBytes(std::size_t size) {
    std::random_device device;
    std::string bytes(size, '\0');
    for (char& byte : bytes) byte = static_cast<char>(device() & 0xFF);
    return bytes;
}

} // namespace panelkit::testing
