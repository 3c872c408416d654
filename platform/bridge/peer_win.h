// SPDX-License-Identifier: MIT
//
// The accounts at both ends of a named pipe. Windows only.
#pragma once

#include <platform/bridge/peer.h>

#include <windows.h>

namespace bridge {

// Who connected to a pipe of ours: asked from the token of the client, which it lends for identification.
// Windows lends it once a byte of the client was read.
Peer pipeClient(HANDLE pipe);

// Who made the pipe that we connected to: the owner that stands in its security descriptor.
Peer pipeOwner(HANDLE pipe);

} // namespace bridge
