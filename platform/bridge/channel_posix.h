// SPDX-License-Identifier: MIT
//
// The native stream behind a Channel, shared with the listener that accepts connections.
#pragma once

#include <platform/bridge/channel.h>

#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>

namespace bridge {

// Asio's context for all streams of the process. Asio's calls never wait here, so the context never runs; a context per
// stream would cost three more descriptors each.
asio::io_context& streamContext();

struct Channel::Stream {
    asio::local::stream_protocol::socket socket{streamContext()};
};

} // namespace bridge
