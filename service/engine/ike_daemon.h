// SPDX-License-Identifier: MIT
//
// The IKE daemon as a child process of ours: charon, with a configuration and a control socket in a folder of its own.
// Its configuration has no secrets.
#pragma once

#include <service/engine/engine_credentials.h>
#include <service/engine/engine_parameters.h>

#include <platform/system/child_process.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace panelkitd {

struct IkeDaemonSettings {
    bool espInUserSpace = true;
    std::uint32_t mark = 0; // of what the daemon sends, and of its sockets
    std::vector<EngineModule> modules;
    EngineParameters parameters;

    bool operator==(const IkeDaemonSettings&) const = default;
};

// Returns the text of the daemon's configuration. Throws EngineError for a path that it can't hold.
std::string daemonConfiguration(const IkeDaemonSettings& settings, const std::string& socket);

// The name of a module there.
std::string moduleName(const IkeDaemonSettings& settings, const std::string& path);

// One thread uses it at a time. Functions that fail throw EngineError.
class IkeDaemon {
public:
    // `folder` is a private folder of ours, `program` the daemon's path. A daemon that a killed service left there is
    // ended. Throws when another daemon uses the ports of IKE.
    IkeDaemon(std::string folder, std::string program);
    ~IkeDaemon(); // ends it
    IkeDaemon(const IkeDaemon&) = delete;
    IkeDaemon& operator=(const IkeDaemon&) = delete;

    const std::string& socket() const { return socket_; }

    // Starts it and waits until its control socket answers.
    void start(const IkeDaemonSettings& settings);

    // Writes the configuration again, for a daemon that runs.
    void configure(const IkeDaemonSettings& settings) const;

    bool runs() const { return child_ && !child_->ended(); }
    std::int64_t id() const { return child_ ? child_->id() : 0; }

    // What it said last before it ended, for people; empty if it said nothing.
    std::string lastWords() const;

    void stop();

private:
    void awaitSocket();

    const std::string folder_;
    const std::string program_;
    const std::string socket_;
    std::unique_ptr<platform::ChildProcess> child_;
};

// ---- of the system, in ike_daemon_*.cpp

// Whether the kernel can encrypt with ESP. Adds a security association of the loopback address and removes it.
bool kernelHasEsp();

// Ends the daemon that was started with that configuration and has lost its service. Throws EngineError when it stays.
void endLeftOver(const std::string& configuration);

// Throws EngineError when the ports of IKE are in use, or when this system has no IKE daemon.
void requireFreePorts();

// Whether the host name or address has an address. Blocks for as long as the resolver takes.
bool hasAddress(const std::string& host);

} // namespace panelkitd
