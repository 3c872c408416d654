// SPDX-License-Identifier: MIT
//
// The native stream behind a Channel, shared with the listener that accepts connections.
#pragma once

#include <platform/bridge/channel.h>

#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>

namespace bridge {

struct Channel::Stream {
    asio::io_context io{1};
    asio::local::stream_protocol::socket socket{io};
};

} // namespace bridge
