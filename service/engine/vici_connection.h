// SPDX-License-Identifier: MIT
//
// A connection to the control socket of the IKE daemon: requests with their answers, and events. The daemon may hang,
// end or answer nonsense: each wait has a limit, and after a ViciError the connection is closed and must not be used
// again.
#pragma once

#include <service/engine/vici_message.h>

#include <platform/bridge/channel.h>

#include <chrono>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace panelkitd {

// One thread uses it at a time; close() may be called from any thread.
class ViciConnection {
public:
    // Connects to the socket. `patience` is the limit for this and for each answer. Throws ViciError.
    ViciConnection(const std::string& socket, std::chrono::milliseconds patience);
    // Over a channel that is connected.
    ViciConnection(std::unique_ptr<bridge::Channel> channel, std::chrono::milliseconds patience);

    // Sends a request and returns the answer. Throws ViciError, and ViciRefusal when the answer says "success = no".
    ViciSection request(const std::string& command, ViciSection message = {});

    // Sends a request whose answer comes as a sequence of events, and returns these. Throws as request() does, and for
    // more than 10,000 events or 32 MiB of them.
    std::vector<ViciSection> listing(const std::string& command, const std::string& event, ViciSection message = {});

    // Asks for events of that name from now on. Throws ViciError, also when the daemon has no such events.
    void subscribe(const std::string& event);

    // Returns the next event; nullopt when none has come in that time. Throws ViciError when the connection ends.
    std::optional<ViciPacket> nextEvent(std::chrono::milliseconds time);

    // Who is at the other end.
    bridge::Peer peer() const { return channel_->peer(); }

    // Ends the connection; a wait in another thread ends with a ViciError.
    void close() { channel_->close(); }

private:
    struct Received {
        ViciPacket packet;
        std::size_t size = 0; // in bytes, as it came
    };

    void send(const ViciPacket& packet);
    Received receive(bridge::Deadline deadline);
    void read(std::string& into, std::size_t size, bridge::Deadline deadline);
    ViciPacket answer(std::vector<ViciSection>* events, bridge::Deadline deadline);
    void registerFor(ViciPacketType type, const std::string& event);
    bridge::Deadline limit() const { return bridge::Clock::now() + patience_; }

    std::unique_ptr<bridge::Channel> channel_;
    const std::chrono::milliseconds patience_;
    std::deque<Received> early_; // events that came while an answer was awaited
    std::size_t earlySize_ = 0;  // of them, in bytes
};

} // namespace panelkitd
