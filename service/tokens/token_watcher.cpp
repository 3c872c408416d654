// SPDX-License-Identifier: MIT
#include <service/tokens/token_watcher.h>

#include <vocabulary/tokens.h>

#include <set>

namespace panelkitd {

using PKCS11::TokenInfo;
namespace field = vocabulary::token;

namespace {

// All tokens are listed this often, even when a module reports events: some modules report no events for software
// tokens.
constexpr auto thoroughEvery = std::chrono::seconds(30);

std::pair<std::string, std::string> keyOf(const TokenInfo& token) {
    return {token.*field::provider, token.*field::serial};
}

bool isLoggedIn(const TokenInfo& token) { return (token.flags & vocabulary::tokenFlag::loggedIn) != 0; }

// A token without a serial number is left out.
std::map<std::pair<std::string, std::string>, TokenInfo> byKey(const std::vector<TokenInfo>& tokens) {
    std::map<std::pair<std::string, std::string>, TokenInfo> result;
    for (const TokenInfo& token : tokens) {
        if (!(token.*field::serial).empty()) result.emplace(keyOf(token), token);
    }
    return result;
}

} // namespace

TokenWatcher::TokenWatcher(Providers& providers, Announcer& announcer, std::chrono::milliseconds pace,
                           std::function<void()> arrived, UnattendedLogins logins,
                           std::function<void(const TokenInfo&)> loggedOut)
    : providers_(providers),
      announcer_(announcer),
      pace_(pace),
      arrived_(std::move(arrived)),
      loggedOut_(std::move(loggedOut)),
      logins_(std::move(logins)),
      state_([&providers] {
          State state;
          for (const auto& provider : providers.all()) state.known.merge(byKey(provider->tokens().tokens));
          return state;
      }()),
      rounds_([this](bool wasAsked) { return look(wasAsked); }, pace) {}

std::chrono::milliseconds TokenWatcher::look(bool thoroughly) {
    const bool due = Clock::now() - lastThorough_ >= thoroughEvery;
    if (due) lastThorough_ = Clock::now();
    std::set<std::string> listed;
    for (const auto& provider : providers_.all()) {
        listed.insert(provider->settings().name);
        provider->lookAfter();
        lookAt(*provider, thoroughly || due);
    }
    removeKnown(*state_.lock(), [&](const Key& key) { return listed.count(key.first) == 0; });
    return pace_;
}

// When a command has reported a change during the listing, the listing may be from before or after that change. Then it
// is not used, and the tokens are listed again.
void TokenWatcher::lookAt(Provider& provider, bool thoroughly) {
    const std::uint64_t before = state_.lock()->commands;
    const auto now = provider.tokensIfChanged(thoroughly);
    if (!now) return;
    {
        const auto state = state_.lock();
        if (state->commands != before) return rounds_.ask();
        compare(*state, provider.settings().name, byKey(*now));
    }
    logins_.see(provider, *now, [this](const TokenInfo& token) { loginChanged(token); });
}

template <class Gone>
void TokenWatcher::removeKnown(State& state, Gone gone) {
    for (auto known = state.known.begin(); known != state.known.end();) {
        const bool removed = gone(known->first);
        if (removed) announcer_.announceTokenRemoved(known->second);
        if (removed && loggedOut_ && isLoggedIn(known->second)) loggedOut_(known->second);
        known = removed ? state.known.erase(known) : std::next(known);
    }
}

void TokenWatcher::compare(State& state, const std::string& provider, const Tokens& now) {
    removeKnown(state, [&](const Key& key) { return key.first == provider && now.count(key) == 0; });
    for (const auto& [key, token] : now) compareOne(state, token);
}

void TokenWatcher::compareOne(State& state, const TokenInfo& now) {
    if ((now.*field::serial).empty()) return;
    TokenInfo loggedOut = now;
    loggedOut.flags &= ~vocabulary::tokenFlag::loggedIn;
    const auto [known, arrived] = state.known.emplace(keyOf(now), loggedOut);
    if (arrived) {
        announcer_.announceTokenArrived(loggedOut);
        arrived_();
    }
    const bool wasIn = isLoggedIn(known->second);
    known->second = now;
    if (isLoggedIn(now) && !wasIn) announcer_.announceTokenLoggedIn(now);
    if (!isLoggedIn(now) && wasIn) announcer_.announceTokenLoggedOut(now);
    if (!isLoggedIn(now) && wasIn && loggedOut_) loggedOut_(now);
}

// ---- reports from commands

void TokenWatcher::initialized(const TokenInfo& token) {
    const auto state = state_.lock();
    ++state->commands;
    compareOne(*state, token); // it may be a new one, and a log-in has ended
    announcer_.announceTokenInitialized(token);
}

void TokenWatcher::loginChanged(const TokenInfo& token) {
    const auto state = state_.lock();
    ++state->commands;
    compareOne(*state, token);
}

} // namespace panelkitd
