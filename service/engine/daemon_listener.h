// SPDX-License-Identifier: MIT
//
// Hears the events of one process of the IKE daemon, on a thread of its own: lines of its log, and that tunnels have
// changed.
#pragma once

#include <service/engine/vici_connection.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace panelkitd {

class DaemonListener {
public:
    // Both are called on our thread. `heard` gets a line with the name of its connection, which may be empty.
    struct Handlers {
        std::function<void(const std::string& connection, const std::string& line)> heard;
        std::function<void()> changed;
    };

    // Throws ViciError.
    DaemonListener(std::unique_ptr<ViciConnection> connection, Handlers handlers);
    ~DaemonListener();
    DaemonListener(const DaemonListener&) = delete;
    DaemonListener& operator=(const DaemonListener&) = delete;

    // The daemon has closed the connection, or sent nonsense.
    bool ended() const { return ended_; }

private:
    void listen();
    void take(const ViciPacket& event) const;

    const std::unique_ptr<ViciConnection> vici_;
    const Handlers handlers_;
    std::atomic<bool> ended_ = false;
    std::atomic<bool> stopping_ = false;
    std::thread thread_; // last: it uses all of it
};

} // namespace panelkitd
