// SPDX-License-Identifier: MIT
//
// The notifications that wait to be sent to one receiver, and those that wait for its answer. A receiver handles one
// notification of an id at a time and drops others of that id. So the next one of an id is sent only when the one
// before was answered, however long that takes. A receiver whose queue is full is closed; it attaches again and reads
// the state. Used by the server.
#pragma once

#include <platform/bridge/channel.h>
#include <platform/bridge/frame.h>
#include <platform/system/guarded.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>

namespace bridge::server {

enum class PushOutcome : unsigned char {
    handled,
    notHandled, // nothing listens for the id, or the handler returned false
    lost,       // the connection ended first
};

struct Push {
    std::uint32_t module = 0;
    std::int32_t id = 0;
    std::string payload;
    // Called once for each receiver to which it was sent, on a thread of the server; may be null.
    std::function<void(PushOutcome outcome, const std::string& reply)> answered;
};

struct PushLimits {
    std::size_t waiting = 1000; // notifications
    std::size_t waitingBytes = std::size_t{8} << 20;
    std::chrono::milliseconds writeWait{10'000}; // for a receiver that does not read
};

class PushLine {
public:
    PushLine(Channel& channel, PushLimits limits) : channel_(channel), limits_(limits) {}

    // Queues a notification. Returns false when the receiver does not keep up: too many are waiting already.
    bool add(const std::shared_ptr<const Push>& push);

    // Called when the receiver has answered.
    void answered(std::uint32_t tag, PushOutcome outcome, const std::string& reply);

    // Sends what is queued until end(); the line's own thread.
    void run();

    // Ends run(). Waiting notifications are lost. From any thread.
    void end();

    // Waits until all queued ones were sent and answered, at most for that time.
    void drain(std::chrono::milliseconds time);

private:
    using PushPtr = std::shared_ptr<const Push>;

    struct Queue {
        std::list<PushPtr> waiting;
        std::size_t waitingBytes = 0;
        std::map<std::uint32_t, PushPtr> underWay; // by tag
        std::uint32_t lastTag = 0;
        bool ended = false;

        PushPtr takeNext();
    };

    void send(const Push& push, std::uint32_t tag);

    Channel& channel_;
    const PushLimits limits_;
    platform::Guarded<Queue> queue_;
    std::condition_variable changed_;
};

} // namespace bridge::server
