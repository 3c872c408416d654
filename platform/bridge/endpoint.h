// SPDX-License-Identifier: MIT
//
// The endpoint: the path of a Unix socket, or the name of a named pipe.
#pragma once

#include <platform/loccore/phrase.h>

#include <string>

namespace bridge {

// The endpoint of the system's service: /run/panelkit/bridge.sock, \\.\pipe\panelkit-bridge.
std::string systemEndpoint();

// The endpoint of a service that a user runs for itself: bridge.sock in $XDG_RUNTIME_DIR/panelkit, or a pipe with
// the user's name. Empty when the user has no runtime folder.
std::string privateEndpoint();

// What front ends use unless they set one: the value of PANELKIT_BRIDGE, else the system's.
std::string defaultEndpoint();

// Why `endpoint` can't be used; empty when it can.
Loc::Phrase endpointProblem(const std::string& endpoint);

} // namespace bridge
