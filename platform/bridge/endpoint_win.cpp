// SPDX-License-Identifier: MIT
#include <platform/bridge/endpoint.h>

#include <platform/bridge/peer.h>

namespace bridge {

namespace {

constexpr const char* pipeFolder = R"(\\.\pipe\)";
constexpr std::size_t longestPipeName = 256; // the folder included

} // namespace

std::string systemEndpoint() { return std::string(pipeFolder) + "panelkit-bridge"; }

std::string privateEndpoint() { return std::string(pipeFolder) + "panelkit-bridge-" + self().user; }

Loc::Phrase endpointProblem(const std::string& endpoint) {
    if (endpoint.rfind(pipeFolder, 0) != 0) {
        return Loc::makePhrase("the name of the pipe does not begin with %s: %s", pipeFolder, endpoint);
    }
    const std::string name = endpoint.substr(std::string(pipeFolder).size());
    if (name.empty()) return Loc::makePhrase("the name of the pipe is empty");
    if (name.find('\\') != std::string::npos || name.find('\0') != std::string::npos) {
        return Loc::makePhrase("the name of the pipe holds a backslash or a zero byte: %s", endpoint);
    }
    if (endpoint.size() > longestPipeName) {
        return Loc::makePhrase("the name of the pipe has %d bytes, the system allows %d: %s", endpoint.size(),
                               longestPipeName, endpoint);
    }
    return {};
}

} // namespace bridge
