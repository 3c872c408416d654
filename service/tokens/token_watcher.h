// SPDX-License-Identifier: MIT
//
// The token watcher announces when tokens come and go, and when the service's log-in to a token begins or ends.
// Commands report their own changes to it. It finds all other changes by asking the modules at intervals: with one call
// when a module reports events of its slots, else with a listing.
//
// A token without a serial number is not announced. It is the place that a provider of software tokens keeps free for a
// new token.
#pragma once

#include <service/base/rounds.h>
#include <service/notifications/announcer.h>
#include <service/tokens/providers.h>
#include <service/tokens/unattended_logins.h>

#include <platform/system/guarded.h>

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace panelkitd {

// Any thread may call it.
class TokenWatcher {
public:
    // Tokens that are there now are not announced. `pace` is the time between two rounds of asking the modules.
    // `arrived` is called when a token has arrived, on the watcher's thread or that of a command; it must return at
    // once. `loggedOut` is called there too, when a log-in has ended or a token with a log-in was removed; it must
    // return within seconds. `logins` logs in to the tokens with PIN files, also to those that are there now.
    TokenWatcher(Providers& providers, Announcer& announcer, std::chrono::milliseconds pace,
                 std::function<void()> arrived, UnattendedLogins logins,
                 std::function<void(const PKCS11::TokenInfo&)> loggedOut = nullptr);

    // Called by commands to report what they did, with the present record of the token. The caller must still hold the
    // token, so that the announcements about it are in the right order.
    void initialized(const PKCS11::TokenInfo& token);
    void loginChanged(const PKCS11::TokenInfo& token);

    // Called after providers were loaded or unloaded. The tokens are listed again soon. Returns at once.
    void providersChanged() { rounds_.ask(); }

    // Ends the watcher. Returns false when its thread has not ended within `grace`, because it waits for a module that
    // hangs.
    bool stop(std::chrono::milliseconds grace) { return rounds_.stop(grace); }

private:
    using Clock = std::chrono::steady_clock;
    using Key = std::pair<std::string, std::string>; // provider and serial number
    using Tokens = std::map<Key, PKCS11::TokenInfo>;

    struct State {
        Tokens known;               // as announced
        std::uint64_t commands = 0; // how many have reported what they did
    };

    std::chrono::milliseconds look(bool thoroughly);
    void lookAt(Provider& provider, bool thoroughly);
    void compare(State& state, const std::string& provider, const Tokens& now);
    void compareOne(State& state, const PKCS11::TokenInfo& now);
    template <class Gone>
    void removeKnown(State& state, Gone gone);

    Providers& providers_;
    Announcer& announcer_;
    const std::chrono::milliseconds pace_;
    const std::function<void()> arrived_;
    const std::function<void(const PKCS11::TokenInfo&)> loggedOut_;
    UnattendedLogins logins_;                       // of the rounds' thread
    Clock::time_point lastThorough_ = Clock::now(); // of the rounds' thread
    platform::Guarded<State> state_;                // announcements are made with it, so they are in the right order
    Rounds rounds_;                                 // last: its thread uses all of it
};

} // namespace panelkitd
