// SPDX-License-Identifier: MIT
#include <service/policy/token_credentials.h>

#include <service/base/log.h>

#include <utility>

namespace panelkitd {

TokenCredentials::TokenCredentials(Look look, std::chrono::milliseconds patience, std::chrono::seconds pause)
    : look_(std::move(look)),
      patience_(patience),
      rounds_(
          [this, pause](bool) {
              this->look();
              return pause;
          },
          std::chrono::milliseconds(0)) {}

// A read in progress may miss events since its start, so this waits for the next one.
std::optional<CredentialList> TokenCredentials::list() const {
    auto looks = looks_.lock();
    const std::uint64_t wanted = looks->begun + 1;
    rounds_.ask();
    if (!looks->overdue) looks->overdue = !looks.waitFor(changed_, patience_, [&] { return looks->ended >= wanted; });
    return looks->last;
}

void TokenCredentials::look() {
    const std::uint64_t number = ++looks_.lock()->begun;
    std::optional<CredentialList> seen;
    bool failed = false;
    try {
        seen = look_();
    } catch (const std::exception& error) {
        logFailure("looking into the tokens", error);
        failed = true;
    }
    {
        const auto looks = looks_.lock();
        if (!failed) looks->last = std::move(seen);
        looks->ended = number;
        looks->overdue = false;
    }
    changed_.notify_all();
    logDetail("the tokens have been looked into");
}

} // namespace panelkitd
