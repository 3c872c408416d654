// SPDX-License-Identifier: MIT
//
// The token watcher announces what becomes of tokens: that they come and go, and that the service's log-in to one
// begins and ends. What commands do they tell it themselves; everything else it finds by asking the modules at a modest
// pace: one call where a module reports events of its slots, else a listing.
//
// A token without a serial number is not announced: it is the empty place of a provider in software.
#pragma once

#include <service/base/rounds.h>
#include <service/notifications/announcer.h>
#include <service/tokens/providers.h>
#include <service/tokens/unattended_logins.h>

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace panelkitd {

// Thread-safe.
class TokenWatcher {
public:
    // What is there now is not announced. `pace` is how often the modules are asked; `arrived` is called when a token
    // has arrived, and must come back at once. What logs in to tokens by itself is told of those that are there.
    TokenWatcher(Providers& providers, Announcer& announcer, std::chrono::milliseconds pace,
                 std::function<void()> arrived, UnattendedLogins logins);

    // What a command did, with the token as it is now. To be told while the token is still held, so that what is
    // announced of it is in order.
    void initialized(const PKCS11::TokenInfo& token);
    void loginChanged(const PKCS11::TokenInfo& token);

    // Providers were loaded or unloaded.
    void providersChanged() { rounds_.ask(); }

    // Ends it. False when a module hangs, in a call that can't be interrupted.
    bool stop(std::chrono::milliseconds grace) { return rounds_.stop(grace); }

private:
    using Clock = std::chrono::steady_clock;
    using Key = std::pair<std::string, std::string>; // provider and serial number
    using Tokens = std::map<Key, PKCS11::TokenInfo>;

    std::chrono::milliseconds look(bool thoroughly);
    void lookAt(Provider& provider, bool thoroughly);
    void compare(const std::string& provider, const Tokens& now);
    void compareOne(const PKCS11::TokenInfo& now);
    template <class Gone>
    void removeKnown(Gone gone);

    Providers& providers_;
    Announcer& announcer_;
    const std::chrono::milliseconds pace_;
    const std::function<void()> arrived_;
    UnattendedLogins logins_;                       // of the rounds' thread
    Clock::time_point lastThorough_ = Clock::now(); // of the rounds' thread
    std::mutex mutex_;                              // guards what follows
    Tokens known_;                                  // as announced
    std::uint64_t commands_ = 0;                    // how many have told what they did
    Rounds rounds_;                                 // last: its thread uses all of it
};

} // namespace panelkitd
