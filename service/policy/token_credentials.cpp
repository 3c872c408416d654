// SPDX-License-Identifier: MIT
#include <service/policy/token_credentials.h>

#include <service/base/log.h>

#include <utility>

namespace panelkitd {

namespace {

// Unless somebody asks.
constexpr auto pause = std::chrono::hours(24);

} // namespace

TokenCredentials::TokenCredentials(Look look, std::chrono::milliseconds patience)
    : look_(std::move(look)),
      patience_(patience),
      rounds_(
          [this](bool) {
              this->look();
              return pause;
          },
          std::chrono::milliseconds(0)) {}

// A look that is under way may have missed what happened since it began, so the next one is waited for.
std::optional<CredentialList> TokenCredentials::list() const {
    std::unique_lock lock(mutex_);
    const std::uint64_t wanted = begun_ + 1;
    rounds_.ask();
    if (!overdue_) overdue_ = !changed_.wait_for(lock, patience_, [&] { return ended_ >= wanted; });
    return last_;
}

void TokenCredentials::look() {
    std::unique_lock lock(mutex_);
    const std::uint64_t number = ++begun_;
    lock.unlock();
    std::optional<CredentialList> seen;
    bool failed = false;
    try {
        seen = look_();
    } catch (const std::exception& error) {
        logError(std::string("looking into the tokens: ") + error.what());
        failed = true;
    }
    lock.lock();
    if (!failed) last_ = std::move(seen);
    ended_ = number;
    overdue_ = false;
    lock.unlock();
    changed_.notify_all();
    logDetail("the tokens have been looked into");
}

} // namespace panelkitd
