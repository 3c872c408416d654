// SPDX-License-Identifier: MIT
#include <platform/bridge/endpoint.h>

#include <sys/un.h>

#include <cstdlib>

namespace bridge {

std::string systemEndpoint() { return "/run/panelkit/bridge.sock"; }

std::string privateEndpoint() {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (!runtime || !*runtime) return {};
    return std::string(runtime) + "/panelkit/bridge.sock";
}

Loc::Phrase endpointProblem(const std::string& endpoint) {
    constexpr std::size_t longest = sizeof(sockaddr_un::sun_path) - 1;
    if (endpoint.empty()) return Loc::makePhrase("the path of the socket is empty");
    if (endpoint.find('\0') != std::string::npos) return Loc::makePhrase("the path of the socket holds a zero byte");
    if (endpoint.front() != '/') return Loc::makePhrase("the path of the socket is not absolute: %s", endpoint);
    if (endpoint.size() > longest) {
        return Loc::makePhrase("the path of the socket has %d bytes, the system allows %d: %s", endpoint.size(),
                               longest, endpoint);
    }
    return {};
}

} // namespace bridge
