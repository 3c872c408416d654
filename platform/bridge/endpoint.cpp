// SPDX-License-Identifier: MIT
#include <platform/bridge/endpoint.h>

#include <cstdlib>

namespace bridge {

std::string defaultEndpoint() {
    const char* set = std::getenv("PANELKIT_BRIDGE");
    return set && *set ? set : systemEndpoint();
}

} // namespace bridge
