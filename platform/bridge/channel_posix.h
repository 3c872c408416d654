// SPDX-License-Identifier: MIT
//
// The native stream behind a Channel, shared with the listener that accepts connections.
#pragma once

#include <platform/bridge/channel.h>

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

namespace bridge {

// A stream socket, which it owns and closes. The socket blocks: a read waits within the call itself, which saves a
// poll() for each command.
struct Channel::Stream {
    explicit Stream(int socket = -1) : handle(socket) {}
    ~Stream();
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    // As recv(), waiting until `deadline` at the latest. By one thread at a time.
    ssize_t receive(char* to, std::size_t size, Deadline deadline);

    int handle;                    // -1 until there is one
    std::int64_t receiveLimit = 0; // SO_RCVTIMEO of the socket, in milliseconds; 0 means no limit
};

} // namespace bridge
