// SPDX-License-Identifier: MIT
//
// A service that sends what a target says, at an endpoint of its own. Each connection has a thread; connections that
// have ended leave nothing, so it lasts for millions of them.
#pragma once

#include <platform/bridge/frame.h>
#include <platform/bridge/listener.h>
#include <platform/bridge/messages.h>
#include <testing/scripted_service.h>

#include <atomic>
#include <functional>
#include <list>
#include <string>
#include <thread>
#include <utility>

namespace fuzz {

class FakeService {
public:
    // Serves a connection; called on its thread. The connection ends when it returns.
    using Serve = std::function<void(bridge::Channel& channel)>;

    explicit FakeService(Serve serve)
        : endpoint_(panelkit::testing::uniqueEndpoint()),
          listener_(endpoint_, {}),
          serve_(std::move(serve)),
          accepting_([this] { acceptAll(); }) {}
    ~FakeService() {
        listener_.stop();
        accepting_.join();
        for (Served& served : served_) {
            served.channel->close();
            served.thread.join();
        }
    }
    FakeService(const FakeService&) = delete;
    FakeService& operator=(const FakeService&) = delete;

    const std::string& endpoint() const { return endpoint_; }

private:
    struct Served {
        std::unique_ptr<bridge::Channel> channel;
        std::atomic<bool> ended = false;
        std::thread thread;
    };

    void acceptAll() {
        while (std::unique_ptr<bridge::Channel> channel = listener_.accept().channel) {
            served_.remove_if([](Served& served) {
                if (!served.ended) return false;
                served.thread.join();
                return true;
            });
            Served& served = served_.emplace_back();
            served.channel = std::move(channel);
            served.thread = std::thread([this, &served] {
                serve_(*served.channel);
                served.channel->close();
                served.ended = true;
            });
        }
    }

    const std::string endpoint_;
    bridge::Listener listener_;
    const Serve serve_;
    std::list<Served> served_; // of the accepting thread
    std::thread accepting_;
};

// Reads a frame; false when there is none.
inline bool readFrame(bridge::FrameReader& reader, bridge::FrameHeader& header, std::string& body) {
    constexpr bridge::Patience patience{10'000};
    return reader.readHeader(header, bridge::never, patience) == bridge::FrameStatus::done &&
           reader.readBody(header, body, bridge::defaultFrameLimit, patience) == bridge::FrameStatus::done;
}

// Answers the hello of a front end; false when there is none.
inline bool welcome(bridge::Channel& channel, bridge::FrameReader& reader) {
    bridge::FrameHeader header;
    std::string body;
    if (!readFrame(reader, header, body)) return false;
    const bridge::Welcome accepted{
        bridge::protocolVersion, bridge::Verdict::accepted, bridge::defaultFrameLimit, "fake", "", {}};
    return writeFrame(channel, {.kind = bridge::FrameKind::welcome}, encode(accepted), {1000}) ==
           bridge::IoStatus::done;
}

} // namespace fuzz
