// SPDX-License-Identifier: MIT
//
// The native stream behind a Channel, shared with the listener that accepts connections.
#pragma once

#include <platform/bridge/channel.h>

#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>

namespace bridge {

// Asio's context for all streams of the process. Its calls are used without waiting, so it never runs; one of its own
// would cost each stream three more descriptors.
asio::io_context& streamContext();

struct Channel::Stream {
    asio::local::stream_protocol::socket socket{streamContext()};
};

} // namespace bridge
