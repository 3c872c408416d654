// SPDX-License-Identifier: MIT
//
// The client's end of a connection after the handshake, used by command sessions and by the receiver.
#pragma once

#include <platform/bridge/channel.h>
#include <platform/bridge/failure.h>
#include <platform/bridge/frame.h>
#include <platform/bridge/messages.h>

#include <memory>
#include <string>

namespace bridge {

struct ServiceConnection {
    explicit ServiceConnection(std::unique_ptr<Channel> connected) : channel(std::move(connected)), reader(*channel) {}

    std::unique_ptr<Channel> channel;
    FrameReader reader; // of `channel`
    Welcome welcome;
};

// Connects to the service at `endpoint` and exchanges hello and welcome with it, in the newest version that both
// support. Nothing is sent to a service that runs under an account that is not trusted. `connection` is set on success.
Failure connectTo(const std::string& endpoint, Role role, const std::string& name, Patience patience,
                  std::unique_ptr<ServiceConnection>& connection);

// The failure of a connection that can't be used any more, with the reason.
Failure lostBy(Loc::MarkedWording<> why);
Failure requestTooLarge(std::uint64_t size, std::uint64_t limit);

// The failure of a command whose read or write failed.
Failure failureOf(FrameStatus status);
Failure failureOf(IoStatus status);

} // namespace bridge
