// SPDX-License-Identifier: MIT
//
// A connected local byte stream (Unix stream socket, named pipe) with deadlines.
//
// One thread reads and one thread writes at a time; close() may be called from any thread and wakes both.
#pragma once

#include <platform/bridge/deadline.h>
#include <platform/bridge/peer.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace bridge {

enum class IoStatus : unsigned char {
    done,
    timedOut,
    closed, // by the peer, by close(), or by an error of the system
};

enum class ConnectStatus : unsigned char {
    connected,
    noService,    // nothing listens there
    exhausted,    // this process, or the system, has no descriptor or memory left for a connection
    accessDenied, // the operating system refuses
    timedOut,
};

class Channel {
public:
    struct Stream; // the system's handle; only channel_*.cpp and listener_*.cpp know it
    explicit Channel(std::unique_ptr<Stream> stream);
    ~Channel();
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    // Connects to the service at `endpoint`. `channel` is set when the status is connected.
    static ConnectStatus connect(const std::string& endpoint, Deadline deadline, std::unique_ptr<Channel>& channel);

    // Reads at least one and at most `size` bytes; `got` receives the number.
    IoStatus readSome(char* to, std::size_t size, std::size_t& got, Deadline deadline);

    // Writes both parts, one after the other; `patience` says how long to wait while the peer accepts no bytes.
    IoStatus write(std::string_view head, std::string_view body, Patience patience);

    // Who is at the other end.
    Peer peer() const;

    // Ends the connection: reads and writes, also those in progress in other threads, return `closed`. The peer notices
    // it when the channel is destroyed at the latest.
    void close();

private:
    std::unique_ptr<Stream> stream_;
};

} // namespace bridge
