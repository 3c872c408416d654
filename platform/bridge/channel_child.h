// SPDX-License-Identifier: MIT
//
// A child process that runs this program, with a private channel to it. Code that is not trusted (a PKCS#11 module)
// runs there: a crash or hang of the child appears here only as a channel that is closed or silent.
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
    // Starts a program. `arguments` begin with its path, all in UTF-8; the name of the channel is added as the last
    // one. The child gets only this environment and this channel; no other open file is inherited, and its standard
    // streams are discarded. Throws std::runtime_error when it can't be started.
    ChannelChild(std::vector<std::string> arguments, const std::map<std::string, std::string>& environment);
    // Kills the child if it still runs, and waits for its end.
    ~ChannelChild();
    ChannelChild(const ChannelChild&) = delete;
    ChannelChild& operator=(const ChannelChild&) = delete;

    Channel& channel() { return *channel_; }
    std::int64_t id() const;

    // Any thread may call kill() and ended(). After kill() the channel returns `closed`.
    void kill();
    bool ended() const;

    // Returns how the child ended, for the log: "exited with status 1", "was killed by signal 11". Call it only when
    // ended() is true.
    std::string ending() const;

private:
    struct Process;
    std::unique_ptr<Process> process_;
    std::unique_ptr<Channel> channel_;
};

// The child's side.
class ChannelParent {
public:
    // `name` is the last argument of the child's command line. Throws std::runtime_error when it is not the name of a
    // channel.
    explicit ChannelParent(const std::string& name);
    ~ChannelParent();
    ChannelParent(const ChannelParent&) = delete;
    ChannelParent& operator=(const ChannelParent&) = delete;

    Channel& channel() { return *channel_; }

    // Returns when the parent has ended or closed its end. Call it on a separate thread, because the other threads may
    // hang in code that is not trusted.
    void awaitEnd() const;

private:
    struct Link;
    std::unique_ptr<Link> link_;
    std::unique_ptr<Channel> channel_;
};

} // namespace bridge
