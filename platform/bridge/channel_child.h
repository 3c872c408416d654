// SPDX-License-Identifier: MIT
//
// A child process of this program's own, at the other end of a channel that only the two of them have. Code that is not
// trusted (a PKCS#11 module) runs there: what it does to its process is felt here as a channel that is closed or
// silent.
//
//   bridge::ChannelChild child({executablePath(), "--host-module", path, "--channel"}, environment);
//   writeFrame(child.channel(), ...);
#pragma once

#include <platform/bridge/channel.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace bridge {

class ChannelChild {
public:
    // Starts a program. `arguments` begin with its path, all in UTF-8; what names the channel to it is added as the
    // last one. The child gets this environment and no other, the channel, and no other open file: its standard streams
    // lead nowhere. Throws std::runtime_error when it can't be started.
    ChannelChild(std::vector<std::string> arguments, const std::map<std::string, std::string>& environment);
    // Kills the child if it still runs, and waits for its end.
    ~ChannelChild();
    ChannelChild(const ChannelChild&) = delete;
    ChannelChild& operator=(const ChannelChild&) = delete;

    Channel& channel() { return *channel_; }
    std::int64_t id() const;

    // Any thread may call these. After kill() the channel answers `closed`.
    void kill();
    bool ended() const;

    // How it ended, for the log: "exited with status 1", "was killed by signal 11". Only when ended() is true.
    std::string ending() const;

private:
    struct Process;
    std::unique_ptr<Process> process_;
    std::unique_ptr<Channel> channel_;
};

// The child's end of all this.
class ChannelParent {
public:
    // `name` is the last argument of the child's command line. Throws std::runtime_error when it names no channel.
    explicit ChannelParent(const std::string& name);
    ~ChannelParent();
    ChannelParent(const ChannelParent&) = delete;
    ChannelParent& operator=(const ChannelParent&) = delete;

    Channel& channel() { return *channel_; }

    // Returns when the parent is gone, or has closed its end. For a thread of its own: the others may hang in code that
    // is not trusted.
    void awaitEnd() const;

private:
    struct Link;
    std::unique_ptr<Link> link_;
    std::unique_ptr<Channel> channel_;
};

} // namespace bridge
