// SPDX-License-Identifier: MIT
//
// A security gateway for tests: a plain charon with a configuration written by hand, in a network namespace of its own,
// and a cable to the namespace in which the calling thread is from then on. Needs root. Everything ends with the
// object, except the two namespaces, which end with the process.
//
//   ours                              the gateway
//   w1: 192.168.8.1, fd78::1  ------  w0: 192.168.8.2, fd78::2, and behind it 10.9.0.1, 10.8.0.1, fd99::1
#pragma once

#include "namespaces_posix.h"

#include <functional>
#include <memory>
#include <vector>

class Gateway {
public:
    // What this machine lacks for it; empty if nothing.
    static std::string missing();

    // `folder` is for its files.
    explicit Gateway(std::string folder);
    ~Gateway();
    Gateway(const Gateway&) = delete;
    Gateway& operator=(const Gateway&) = delete;

    // Writes a file for the next configuration: "x509/gate.pem".
    void write(const std::string& name, const std::string& content) const;

    // Starts charon, unless it runs, and loads what is in the configuration, in place of the former one.
    void configure(const std::string& swanctl);
    // Ends charon as kill -9 does.
    void kill();

    // What charon has said since its start.
    std::string log() const;

    // Runs `work` in the gateway's namespace, on this thread.
    void inside(const std::function<void()>& work) const;

    // Returns what has passed the cable since the last call, but IKE and ESP in UDP, and
    // what hosts say of ports and neighbours: "6 10.9.0.1:80". `encrypted` is the number of packets of ESP in UDP,
    // `missed` of those that came faster than they were read here.
    struct Seen {
        std::vector<std::string> plain;   // that the gateway got
        std::vector<std::string> answers; // that it sent
        unsigned encrypted = 0, missed = 0;
    };
    Seen seen() const;

private:
    void start();
    std::string swanctlRun(const std::string& arguments) const;

    const std::string folder_;
    int namespace_ = -1, ours_ = -1, wire_ = -1;
    std::unique_ptr<platform::ChildProcess> charon_;
};
