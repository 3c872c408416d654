// SPDX-License-Identifier: MIT
//
// What the service's own tokens hold, looked at on a thread of its own: a module that is slow or hangs holds up one
// request for a moment, and the others not at all. They get what was seen last.
//
// Each look also takes apart the certificates that are new, so the first listing does not have to; hence there is one
// at the start.
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
    // `look` goes through the tokens, on our thread; nothing where it can't. What it throws is logged, and what was
    // seen before holds on. `patience` is how long list() waits for it.
    using Look = std::function<std::optional<CredentialList>()>;
    explicit TokenCredentials(Look look, std::chrono::milliseconds patience = std::chrono::seconds(1));

    // As they are now. When looking takes longer than our patience, as they were seen last: nothing when they never
    // were. Nobody waits for a look that has already outlasted somebody's patience.
    std::optional<CredentialList> list() const override;

    // Has them looked at before somebody asks: a token has arrived.
    void refresh() { rounds_.ask(); }

    // Ends it. False when a module hangs, in a call that can't be interrupted.
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
