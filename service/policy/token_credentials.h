// SPDX-License-Identifier: MIT
//
// Reads the service's own tokens on a thread of its own. A module that is slow or hangs delays one request for a moment
// and the others not at all: they get the content that was read last.
//
// Each read also parses new certificates, so the first listing does not have to. For this reason there is one at the
// start.
#pragma once

#include <service/base/rounds.h>
#include <service/certs/credentials.h>

#include <platform/system/guarded.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <optional>

namespace panelkitd {

// Thread-safe.
class TokenCredentials : public Credentials {
public:
    // `look` reads the tokens, on our thread, and returns nullopt if it can't. After an exception, which is logged, the
    // former content stays valid. `patience` is how long list() waits for it, `pause`
    // the time between two reads if none is requested.
    using Look = std::function<std::optional<CredentialList>()>;
    explicit TokenCredentials(Look look, std::chrono::milliseconds patience = std::chrono::seconds(1),
                              std::chrono::seconds pause = std::chrono::hours(24));

    // Returns the present content. If reading takes longer than our patience, returns the content that was read last,
    // or nullopt if there is none. No call waits for a read that has already exceeded the patience of another call.
    std::optional<CredentialList> list() const override;

    // Reads the tokens before a request needs it: a token was inserted.
    void refresh() { rounds_.ask(); }

    // Ends the thread. Returns false when a module hangs in a call that can't be interrupted.
    bool stop(std::chrono::milliseconds grace) { return rounds_.stop(grace); }

private:
    struct Looks {
        std::optional<CredentialList> last;
        std::uint64_t begun = 0; // how many
        std::uint64_t ended = 0;
        bool overdue = false; // the one under way
    };

    void look();

    const Look look_;
    const std::chrono::milliseconds patience_;
    mutable platform::Guarded<Looks> looks_;
    mutable std::condition_variable changed_;
    mutable Rounds rounds_; // last: its thread uses all of it
};

} // namespace panelkitd
