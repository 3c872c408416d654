// SPDX-License-Identifier: MIT
//
// A connection of the server, and the command in progress on it: shared by the session's thread and the server's
// threads.
#pragma once

#include <platform/bridge/frame.h>
#include <platform/bridge/push_line.h>
#include <platform/system/guarded.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string_view>

namespace bridge::server {

class Connection {
public:
    Connection(std::unique_ptr<Channel> connected, bool last) : channel(std::move(connected)), isLast(last) {}

    // Marks a command as begun. Returns false when the server is stopping.
    bool beginCommand(std::uint32_t tag);

    // Ends the command and sends its answer, after its remarks if there are any. Returns false when the session is over
    // too. The lock is not held while the answer is written, because a client that reads slowly makes this take long;
    // no other thread writes after the command has ended.
    bool answer(const FrameHeader& header, std::string_view body, std::string_view remarks, Patience patience);

    // Tells the client that its command is still running, if the last sign of life is older than the interval. The
    // write does not block: a client that has no room for so few bytes is disconnected.
    void showWorking(std::chrono::milliseconds interval);

    // From now on no command is begun. A session that waits for a command, or for the rest of one, ends at once.
    void stop();

    const std::unique_ptr<Channel> channel;
    const bool isLast;               // no descriptor is left for another one: it is only told so
    std::atomic<bool> lagged{false}; // a receiver that does not keep up; reported already

    // Used by the session's thread only. Before a receiver is enlisted, `peer` is set for good.
    FrameReader reader{*channel};
    Peer peer;
    std::shared_ptr<PushLine> line; // of a receiver

private:
    struct Progress {
        std::optional<Clock::time_point> busySince; // start of the command, or its last sign of life
        std::uint32_t tag = 0;
        bool answering = false; // the session's thread writes the answer
        bool stopping = false;
    };

    platform::Guarded<Progress> progress_; // locked by writes while a command runs
};

} // namespace bridge::server
