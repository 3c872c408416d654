// SPDX-License-Identifier: MIT
//
// The IKE daemon, charon: a child process of ours with a configuration and a control socket in a folder of its own, or
// one that is there already and belongs to somebody else. The configuration of ours has no secrets.
#pragma once

#include <service/engine/engine_credentials.h>
#include <service/engine/engine_parameters.h>
#include <service/engine/vici_connection.h>

#include <platform/system/child_process.h>

#include <chrono>
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

// The name of a module there; empty if it is not there.
std::string moduleName(const IkeDaemonSettings& settings, const std::string& path);

// One thread uses it at a time. Functions that fail throw EngineError.
class IkeDaemon {
public:
    IkeDaemon() = default;
    virtual ~IkeDaemon() = default;
    IkeDaemon(const IkeDaemon&) = delete;
    IkeDaemon& operator=(const IkeDaemon&) = delete;

    // Whether it is a child of ours: it has our settings, and nobody else uses it.
    virtual bool isOurs() const = 0;

    // Starts it and waits until its control socket answers; of a daemon that is not ours: sees whether it can be used.
    virtual void start(const IkeDaemonSettings& settings) = 0;

    // Writes the configuration again, for a daemon that runs and is ours.
    virtual void configure(const IkeDaemonSettings& settings) const = 0;

    // Throws ViciError as well.
    virtual std::unique_ptr<ViciConnection> connect(std::chrono::milliseconds patience) const = 0;

    // As far as can be known without asking it.
    virtual bool runs() const = 0;

    // What it said last before it ended, for people; empty if it said nothing.
    virtual std::string lastWords() const = 0;

    // Ends it if it is ours.
    virtual void stop() = 0;
};

class OwnIkeDaemon final : public IkeDaemon {
public:
    // `folder` is a private folder of ours, `program` the daemon's path. A daemon that a killed service left there is
    // ended. Throws when another daemon uses the ports of IKE.
    OwnIkeDaemon(std::string folder, std::string program);
    ~OwnIkeDaemon() override; // ends it
    OwnIkeDaemon(const OwnIkeDaemon&) = delete;
    OwnIkeDaemon& operator=(const OwnIkeDaemon&) = delete;

    bool isOurs() const override { return true; }
    void start(const IkeDaemonSettings& settings) override;
    void configure(const IkeDaemonSettings& settings) const override;
    std::unique_ptr<ViciConnection> connect(std::chrono::milliseconds patience) const override;
    bool runs() const override { return child_ && !child_->ended(); }
    std::string lastWords() const override;
    void stop() override;

private:
    void awaitSocket();

    const std::string folder_;
    const std::string program_;
    const std::string socket_;
    std::unique_ptr<platform::ChildProcess> child_;
};

// A daemon that somebody else has started and configured.
class PresentIkeDaemon final : public IkeDaemon {
public:
    // `folder` is as above. Throws when accounts other than root can put a socket there.
    PresentIkeDaemon(const std::string& folder, std::string socket);

    bool isOurs() const override { return false; }
    void start(const IkeDaemonSettings& settings) override;
    void configure(const IkeDaemonSettings& /*settings*/) const override {}
    std::unique_ptr<ViciConnection> connect(std::chrono::milliseconds patience) const override;
    bool runs() const override { return true; }
    std::string lastWords() const override { return {}; }
    void stop() override {}

private:
    const std::string socket_;
};

// ---- of the system, in ike_daemon_*.cpp

// Whether the kernel can encrypt with ESP. Adds a security association of the loopback address and removes it.
bool kernelHasEsp();

// Ends the daemon that was started with that configuration and has lost its service. Throws EngineError when it stays.
void endLeftOver(const std::string& configuration);

// Throws EngineError when accounts other than root have made the socket, or could put another one in its place.
void requireSocketOfRoot(const std::string& path);

// Throws EngineError when the ports of IKE are in use, or when this system has no IKE daemon.
void requireFreePorts();

// Whether the host name or address has an address. Blocks for as long as the resolver takes.
bool hasAddress(const std::string& host);

} // namespace panelkitd
