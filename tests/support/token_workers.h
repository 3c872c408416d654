// SPDX-License-Identifier: MIT
//
// Clients that work on one token until the object ends: each makes and deletes a preshared key again and again, with a
// listing in between.
#pragma once

#include "bytes.h"
#include "service_fixture.h"

#include <panelkit/certs/cert_records.h>
#include <panelkit/tokens/token_records.h>

class TokenWorkers {
public:
    using Requests = std::vector<std::pair<panelkit::Command, std::string>>;

    TokenWorkers(const PKCS11::TokenInfo& token, unsigned count, const Requests& listings,
                 std::chrono::milliseconds pause) {
        for (unsigned i = 0; i < count; ++i) {
            const std::string name = "key " + std::to_string(i);
            Requests requests{{panelkit::Command::CreatePresharedKey, encoded(token, name, std::string("secret"))}};
            requests.insert(requests.end(), listings.begin(), listings.end());
            requests.emplace_back(panelkit::Command::DeletePresharedKey, encoded(token, PresharedKeyInfo{name}));
            threads_.emplace_back([this, requests, pause] { work(requests, pause); });
        }
    }
    ~TokenWorkers() { end(); }
    TokenWorkers(const TokenWorkers&) = delete;
    TokenWorkers& operator=(const TokenWorkers&) = delete;

    void end() {
        ended_ = true;
        for (std::thread& thread : threads_) thread.join();
        threads_.clear();
    }
    // How long each command took since the last call, in milliseconds.
    std::vector<double> takeTimes() {
        const std::scoped_lock lock(mutex_);
        return std::exchange(times_, {});
    }
    // The first one; "" when all commands were carried out.
    std::string refusal() {
        const std::scoped_lock lock(mutex_);
        return refusal_;
    }

private:
    void work(const Requests& requests, std::chrono::milliseconds pause) {
        for (Client client; !ended_; std::this_thread::sleep_for(pause)) {
            for (const auto& [command, payload] : requests) {
                const auto start = std::chrono::steady_clock::now();
                const bool carriedOut = client.send(command, payload);
                const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
                const std::scoped_lock lock(mutex_);
                times_.push_back(time.count());
                if (!carriedOut && refusal_.empty()) refusal_ = bridge::lastFailure().text();
            }
        }
    }

    std::atomic<bool> ended_{false};
    std::mutex mutex_; // guards the next two
    std::vector<double> times_;
    std::string refusal_;
    std::vector<std::thread> threads_;
};
