// SPDX-License-Identifier: MIT
//
// The accounts at both ends of a named pipe. Windows only.
#pragma once

#include <platform/bridge/peer.h>

#include <windows.h>

namespace bridge {

// The account that connected to a pipe of ours. It is taken from the client's token, which Windows makes available
// after a byte of the client was read.
Peer pipeClient(HANDLE pipe);

// The account that made the pipe to which we connected: the owner in its security descriptor.
Peer pipeOwner(HANDLE pipe);

} // namespace bridge
