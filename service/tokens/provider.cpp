// SPDX-License-Identifier: MIT
#include <service/tokens/provider.h>

#include <service/base/log.h>
#include <service/modules/cryptoki.h>
#include <service/tokens/held_token.h>

#include <vocabulary/tokens.h>

#include <algorithm>

namespace panelkitd {

using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;
using vocabulary::Refused;
namespace field = vocabulary::token;

bool needsLogin(const TokenInfo& token) {
    return (token.flags & vocabulary::tokenFlag::loginRequired) && !(token.flags & vocabulary::tokenFlag::loggedIn);
}

namespace {

std::string modelText(const HostToken& token) {
    const bool both = !token.manufacturer.empty() && !token.model.empty();
    return token.manufacturer + (both ? ", " : "") + token.model;
}

constexpr std::size_t mostRemoved = 100;

bool isIn(const std::vector<TokenInfo>& tokens, const TokenInfo& token) {
    return std::any_of(tokens.begin(), tokens.end(),
                       [&](const TokenInfo& other) { return other.*field::serial == token.*field::serial; });
}

std::vector<TokenInfo> loggedOut(std::vector<TokenInfo> tokens) {
    for (TokenInfo& token : tokens) token.flags &= ~vocabulary::tokenFlag::loggedIn;
    return tokens;
}

} // namespace

bool sameToken(const TokenInfo& a, const TokenInfo& b) {
    return a.*field::label == b.*field::label && a.*field::serial == b.*field::serial &&
           a.*field::provider == b.*field::provider;
}

// The record of a token that was never read names no provider, so it is the same as no other.
bool UnseenTokens::has(const TokenInfo& other) const {
    return token ? sameToken(*token, other) : provider == other.*field::provider;
}

bool isUnseen(const TokenInfo& token, const std::vector<UnseenTokens>& unseen) {
    return std::any_of(unseen.begin(), unseen.end(), [&](const UnseenTokens& some) { return some.has(token); });
}

Provider::Provider(Settings settings, std::map<std::string, std::string> environment, ModuleLimits limits,
                   LoginHook loggedIn)
    : settings_(std::move(settings)),
      loggedIn_(std::move(loggedIn)),
      host_({settings_.name, settings_.path, std::move(environment), limits}) {}

bool Provider::load() {
    try {
        host_.start();
    } catch (const RefusedError& refused) {
        setProblem(refused.remarks);
        logError("provider " + settings_.name + ": " + refused.what());
        return false;
    }
    *state_.lock() = {.loaded = true, .problem = {}};
    return true;
}

void Provider::unload() {
    host_.stop();
    setProblem({remark(Refused::moduleUnfit, "unloaded")});
}

void Provider::setProblem(Remarks why) { *state_.lock() = {.loaded = false, .problem = std::move(why)}; }

Remarks Provider::problem() const {
    {
        const auto state = state_.lock();
        if (!state->loaded) return state->problem;
    }
    const auto lost = host_.problem();
    return lost ? Remarks{*lost} : Remarks();
}

ProviderInfo Provider::describe() {
    const std::size_t count = tokens().tokens.size();
    const ModuleFacts facts = host_.facts();
    const Remarks why = problem();
    namespace of = vocabulary::provider;
    ProviderInfo info;
    info.*of::name = settings_.name;
    info.*of::path = settings_.path;
    info.*of::manufacturer = facts.manufacturer;
    info.*of::description = facts.description;
    info.*of::moduleVersion = facts.version;
    info.*of::cryptokiVersion = facts.cryptokiVersion;
    info.*of::tokenCount = static_cast<std::uint32_t>(count);
    info.*of::isLoaded = why.empty();
    info.*of::isRemembered = settings_.remembered;
    info.*of::isEmbedded = settings_.embedded;
    info.*of::problem = inEnglish(why);
    return info;
}

// ---- tokens

TokenInfo Provider::record(const HostToken& token) const {
    TokenInfo info;
    info.slotId = token.slot;
    info.*field::label = token.label;
    info.*field::serial = token.serial;
    info.*field::model = modelText(token);
    info.*field::provider = settings_.name;
    info.flags = static_cast<std::uint32_t>(token.flags) & ~vocabulary::tokenFlag::loggedIn;
    if (token.loggedIn) info.flags |= vocabulary::tokenFlag::loggedIn;
    return info;
}

// Returns the tokens; nullopt when none can have come or gone since `seen`. Throws RefusedError when the module does
// not answer.
std::optional<SeenTokens> Provider::look(SlotState& seen) {
    ModuleHost::Turn turn = host_.take(host_.forListing());
    if (seen.incarnation != turn.incarnation()) seen = {turn.incarnation(), 0};
    const auto listing = turn.ask<HostTokens>(HostCommand::tokens, seen.state);
    seen.state = listing.unread.empty() ? listing.state : 0; // with 0, the next listing reads them again
    if (!listing.looked) return std::nullopt;
    SeenTokens now = seenIn(listing);
    const auto state = state_.lock();
    state->remember(now.tokens);
    state->lastIncarnation = turn.incarnation();
    return now;
}

// A token that is in its slot and can't be described is the one that was there before.
SeenTokens Provider::seenIn(const HostTokens& listing) const {
    SeenTokens seen;
    for (const HostToken& token : listing.tokens) seen.tokens.push_back(record(token));
    for (const HostUnreadToken& token : listing.unread) {
        seen.unseen.push_back(unseen(token));
        const TokenInfo& last = *seen.unseen.back().token;
        if (!(last.*field::serial).empty() && !isIn(seen.tokens, last)) seen.tokens.push_back(last);
    }
    return seen;
}

// A token is recognised by its serial number, since its label may be changed. A blank token holds nothing, so nothing
// is missing without it.
void Provider::State::remember(std::vector<TokenInfo> tokens) {
    std::erase_if(removed, [&](const TokenInfo& token) { return isIn(tokens, token); });
    for (const TokenInfo& token : loggedOut(std::move(lastTokens))) {
        const bool heldObjects = (token.flags & vocabulary::tokenFlag::initialized) != 0;
        if (heldObjects && !isIn(tokens, token)) removed.push_back(token);
    }
    if (removed.size() > mostRemoved) removed.erase(removed.begin(), removed.end() - mostRemoved);
    lastTokens = std::move(tokens);
}

// Returns the tokens that were last seen. When the module's process has ended since, its log-ins have ended too, so the
// tokens are shown as logged out.
std::vector<TokenInfo> Provider::lastTokens() const {
    const bool running = host_.isRunning();
    const std::uint64_t incarnation = host_.incarnation();
    const auto state = state_.lock();
    if (running && incarnation == state->lastIncarnation) return state->lastTokens;
    return loggedOut(state->lastTokens);
}

UnseenTokens Provider::unseen(const Remarks& why) const {
    return {RefusedError(Refused::incomplete, "the tokens of provider \"%s\" could not be read", settings_.name)
                .because(why)
                .remarks,
            settings_.name,
            {}};
}

UnseenTokens Provider::unseen(const HostUnreadToken& token) const {
    TokenInfo is;
    is.slotId = token.slot;
    for (const TokenInfo& last : lastTokens()) {
        if (last.slotId == token.slot) is = last;
    }
    const auto result = static_cast<CK_RV>(token.result);
    return {{remark(Refused::incomplete, "the token in slot %d of provider \"%s\" could not be read (%s: %s)",
                    token.slot, settings_.name, "C_GetTokenInfo", resultName(result))},
            settings_.name,
            std::move(is)};
}

SeenTokens Provider::tokens() {
    const Remarks why = problem();
    if (!why.empty()) return {{}, {unseen(why)}};
    try {
        SlotState nothingSeen;
        return look(nothingSeen).value_or(SeenTokens{lastTokens(), {}});
    } catch (const RefusedError& refused) {
        logDetail("provider " + settings_.name + ": " + refused.what());
        return {lastTokens(), {unseen(refused.remarks)}};
    }
}

KnownTokens Provider::known() {
    SeenTokens seen = tokens();
    if (!seen.unseen.empty()) seen.tokens = lastTokens();
    return {std::move(seen), state_.lock()->removed};
}

std::optional<std::vector<TokenInfo>> Provider::tokensIfChanged(bool lookAnyway) {
    if (!host_.isRunning()) return lastTokens();
    try {
        if (lookAnyway) watched_.state = 0;
        auto now = look(watched_);
        return now ? std::optional(std::move(now->tokens)) : std::nullopt;
    } catch (const RefusedError& refused) {
        logDebug("provider " + settings_.name + ": " + refused.what());
        return std::nullopt;
    }
}

// ---- log-ins

std::optional<Account> Provider::ownerOf(const LoginKey& token, std::uint64_t incarnation) const {
    const auto state = state_.lock();
    const auto login = state->logins.find(token);
    if (login == state->logins.end() || login->second.incarnation != incarnation) return std::nullopt;
    return login->second.owner;
}

void Provider::setOwner(const LoginKey& token, Account owner, std::uint64_t incarnation) {
    state_.lock()->logins[token] = {std::move(owner), incarnation};
}

// ---- a token in use

HeldToken Provider::hold(const TokenInfo& token, HostPatience patience) {
    const Remarks why = problem();
    if (!why.empty()) {
        throw RefusedError(Refused::noSuchToken, "the token \"%s\" is out of reach", token.*field::label).because(why);
    }
    return {shared_from_this(), host_.take(patience), token};
}

HeldToken Provider::hold(const TokenInfo& token) { return hold(token, host_.usual()); }

HeldToken Provider::holdForListing(const TokenInfo& token) { return hold(token, host_.forListing()); }

} // namespace panelkitd
