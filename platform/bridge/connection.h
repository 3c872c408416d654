// SPDX-License-Identifier: MIT
//
// The client's end of a connection, greeted: what command sessions and the receiver have in common.
#pragma once

#include <platform/bridge/channel.h>
#include <platform/bridge/failure.h>
#include <platform/bridge/frame.h>
#include <platform/bridge/messages.h>

#include <memory>
#include <string>

namespace bridge {

struct Connection {
    explicit Connection(std::unique_ptr<Channel> connected) : channel(std::move(connected)), reader(*channel) {}

    std::unique_ptr<Channel> channel;
    FrameReader reader; // of `channel`
    Welcome welcome;
};

// Connects to the service at `endpoint` and exchanges hello and welcome with it, in the newest version that both speak.
// Nothing is sent to a service that is run by an account that is not trusted. `connection` is set on success.
Failure connectTo(const std::string& endpoint, Role role, const std::string& name, Patience patience,
                  std::unique_ptr<Connection>& connection);

// A connection that can't be used any more, and why.
Failure lostBy(Loc::MarkedWording<> why);

// What a read or write that did not end well means for a command.
Failure failureOf(FrameStatus status);
Failure failureOf(IoStatus status);

} // namespace bridge
