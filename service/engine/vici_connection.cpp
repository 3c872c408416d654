// SPDX-License-Identifier: MIT
#include <service/engine/vici_connection.h>

#include <platform/system/locked_pages.h>
#include <platform/system/wipe.h>
#include <platform/text/escape.h>

#include <algorithm>
#include <array>
#include <utility>

namespace panelkitd {

using bridge::Deadline;
using bridge::IoStatus;

namespace {

// Of the events that are kept until somebody takes them..
constexpr std::size_t mostEvents = 10'000;
constexpr std::size_t mostEventBytes = std::size_t{32} << 20;

void requireRoom(std::size_t events, std::size_t bytes) {
    if (events >= mostEvents || bytes > mostEventBytes) throw ViciError("the IKE daemon sent too many events");
}

std::unique_ptr<bridge::Channel> connected(const std::string& socket, Deadline deadline) {
    std::unique_ptr<bridge::Channel> channel;
    if (bridge::Channel::connect(socket, deadline, channel) != bridge::ConnectStatus::connected) {
        throw ViciError("the IKE daemon can't be reached at " + socket);
    }
    return channel;
}

[[noreturn]] void failBecause(IoStatus status) {
    throw ViciError(status == IoStatus::timedOut ? "the IKE daemon does not answer"
                                                 : "the IKE daemon has closed the connection");
}

} // namespace

ViciConnection::ViciConnection(const std::string& socket, std::chrono::milliseconds patience)
    : ViciConnection(connected(socket, bridge::Clock::now() + patience), patience) {}

ViciConnection::ViciConnection(std::unique_ptr<bridge::Channel> channel, std::chrono::milliseconds patience)
    : channel_(std::move(channel)), patience_(patience) {}

void ViciConnection::send(const ViciPacket& packet) {
    std::string bytes = encodeVici(packet);
    const platform::LockedPages locked(bytes);
    const platform::WipeOnExit wiped(bytes); // before the pages are unlocked
    bridge::Patience patience;
    patience.overall = limit();
    const IoStatus status = channel_->write(encodeViciLength(bytes.size()), bytes, patience);
    if (status != IoStatus::done) failBecause(status);
}

void ViciConnection::read(std::string& into, std::size_t size, Deadline deadline) {
    std::array<char, 16384> buffer{};
    while (into.size() < size) {
        std::size_t got = 0;
        const IoStatus status =
            channel_->readSome(buffer.data(), std::min(buffer.size(), size - into.size()), got, deadline);
        if (status != IoStatus::done) failBecause(status);
        into.append(buffer.data(), got);
    }
}

ViciConnection::Received ViciConnection::receive(Deadline deadline) {
    std::string head, body;
    read(head, 4, deadline);
    read(body, decodeViciLength(head), deadline);
    return {decodeVici(body), body.size()};
}

// Waits for the answer to what was sent. Events that come before it go to `events`, or are kept for nextEvent().
ViciPacket ViciConnection::answer(std::vector<ViciSection>* events, Deadline deadline) {
    for (std::size_t bytes = 0;;) {
        Received received = receive(deadline);
        if (received.packet.type != ViciPacketType::event) return std::move(received.packet);
        if (events) {
            requireRoom(events->size(), bytes += received.size);
            events->push_back(std::move(received.packet.message));
        } else {
            requireRoom(early_.size(), earlySize_ += received.size);
            early_.push_back(std::move(received));
        }
    }
}

namespace {

ViciSection checked(ViciPacket answer, const std::string& command) {
    if (answer.type == ViciPacketType::unknownRequest) {
        throw ViciRefusal("the IKE daemon does not know the command \"" + command + "\"");
    }
    if (answer.type != ViciPacketType::response) throw ViciError("the IKE daemon sent something else than an answer");
    if (answer.message.text("success") == "no") {
        const std::string why = answer.message.text("errmsg");
        // Hidden characters are escaped: the text of an exception would end at a zero byte.
        throw ViciRefusal(why.empty() ? "the IKE daemon refuses \"" + command + "\"" : platform::escaped(why));
    }
    return std::move(answer.message);
}

} // namespace

ViciSection ViciConnection::request(const std::string& command, ViciSection message) {
    send({ViciPacketType::request, command, std::move(message)});
    return checked(answer(nullptr, limit()), command);
}

std::vector<ViciSection> ViciConnection::listing(const std::string& command, const std::string& event,
                                                 ViciSection message) {
    registerFor(ViciPacketType::registerEvent, event);
    std::vector<ViciSection> events;
    send({ViciPacketType::request, command, std::move(message)});
    ViciPacket last = answer(&events, limit());
    registerFor(ViciPacketType::unregisterEvent, event);
    checked(std::move(last), command);
    return events;
}

void ViciConnection::registerFor(ViciPacketType type, const std::string& event) {
    send({type, event, {}});
    if (answer(nullptr, limit()).type != ViciPacketType::confirmed) {
        throw ViciError("the IKE daemon does not confirm the event \"" + event + "\"");
    }
}

void ViciConnection::subscribe(const std::string& event) { registerFor(ViciPacketType::registerEvent, event); }

// A packet that has begun must be complete within our patience.
std::optional<ViciPacket> ViciConnection::nextEvent(std::chrono::milliseconds time) {
    if (!early_.empty()) {
        Received first = std::move(early_.front());
        early_.pop_front();
        earlySize_ -= first.size;
        return std::move(first.packet);
    }
    std::string head(1, '\0'), rest, body;
    std::size_t got = 0;
    const IoStatus status = channel_->readSome(head.data(), 1, got, bridge::Clock::now() + time);
    if (status == IoStatus::timedOut) return std::nullopt;
    if (status != IoStatus::done) failBecause(status);
    read(rest, 3, limit());
    read(body, decodeViciLength(head + rest), limit());
    ViciPacket packet = decodeVici(body);
    if (packet.type != ViciPacketType::event) throw ViciError("the IKE daemon sent an answer that nobody asked for");
    return packet;
}

} // namespace panelkitd
