// SPDX-License-Identifier: MIT
//
// A PKCS#11 provider of the service: the process of its module, its tokens, and the accounts that are logged in to
// them. Any thread may call a Provider, except for the functions that say otherwise.
#pragma once

#include <service/base/access.h>
#include <service/modules/module_host.h>

#include <panelkit/tokens/token_records.h>
#include <platform/system/guarded.h>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace panelkitd {

class HeldToken;

// Whether both records are of the same token: label, serial number and provider are the same.
bool sameToken(const PKCS11::TokenInfo& a, const PKCS11::TokenInfo& b);

// Tokens that could not be read, so it is not known what they hold now: for example one that was removed just now, or
// all tokens of a provider whose module does not answer.
struct UnseenTokens {
    Remarks why; // the first is `incomplete` and names the token or provider
    std::string provider;
    std::optional<PKCS11::TokenInfo> token; // nullopt: all of the provider; without a label: one that was never read

    bool has(const PKCS11::TokenInfo& other) const;
};
bool isUnseen(const PKCS11::TokenInfo& token, const std::vector<UnseenTokens>& unseen);

// The tokens that a listing has read. Of those in `unseen`, `tokens` has the ones that were read before, as they were
// then.
struct SeenTokens {
    std::vector<PKCS11::TokenInfo> tokens;
    std::vector<UnseenTokens> unseen;
};

// The tokens of a provider as far as they are known.
struct KnownTokens {
    SeenTokens present;
    std::vector<PKCS11::TokenInfo> removed; // since the module was loaded, the latest at the end; at most 100
};

// Whether the token shows its private objects only after a log-in.
bool needsLogin(const PKCS11::TokenInfo& token);

class Provider : public std::enable_shared_from_this<Provider> {
public:
    // Facts about a provider that do not come from its module.
    struct Settings {
        std::string name;
        std::string path;
        bool remembered = false;
        bool embedded = false;
    };

    // Called with the PIN after each log-in that lasts, and after a change of the PIN of a token that is logged in to;
    // on the thread that holds the token. It must return at once. `module` is the module's path.
    using LoginHook =
        std::function<void(const std::string& module, const PKCS11::TokenInfo& token, const platform::Secret& pin)>;

    Provider(Settings settings, std::map<std::string, std::string> environment, ModuleLimits limits,
             LoginHook loggedIn = nullptr);

    const Settings& settings() const { return settings_; }

    // Starts the module's process. A process that runs already is ended first, which ends its log-ins. Returns false
    // when that fails; problem() then says why.
    bool load();
    // Ends the module's process, as ModuleHost::stop() does.
    void unload();
    // Kills the module's process. Commands to it are refused after that. Called when the service ends.
    void kill() { host_.kill(); }
    // Marks the provider as not loaded, for the reason `why`.
    void setProblem(Remarks why);
    // Ends a module that hangs and starts a crashed one again. One thread must call it regularly.
    void lookAfter() { host_.lookAfter(); }
    std::uint64_t incarnation() const { return host_.incarnation(); }

    // Whether the module was loaded. Its process may have crashed since, and is then started again.
    bool isLoaded() const { return state_.lock()->loaded; }
    // Returns why the provider is not loaded or its tokens can't be used. Empty when there is no problem.
    Remarks problem() const;

    // Returns the provider's record for front ends.
    PKCS11::ProviderInfo describe();

    // Returns the tokens that are there. When the module does not answer in time, returns the tokens that it listed
    // last. When it can't describe one of them, returns that one as it was described last. When the provider can't be
    // used at all (see problem()), returns no tokens. In all these cases `unseen` says why.
    SeenTokens tokens();
    // The same, with the tokens that were removed, and those of a provider that can't be used now.
    KnownTokens known();

    // For the token watcher, which calls it repeatedly on one thread. Returns the tokens if the module reports that a
    // slot has changed, if the module does not report such events, or if `lookAnyway` is true. Returns nullopt when
    // nothing has changed, or when the module does not answer now. While the module's process does not run, returns the
    // tokens that were last seen.
    std::optional<std::vector<PKCS11::TokenInfo>> tokensIfChanged(bool lookAnyway);

    // Waits until no other thread uses the module, for as long as `patience` allows, and returns the token. It does not
    // check that the token is there: the first command to the token does. Throws RefusedError.
    HeldToken hold(const PKCS11::TokenInfo& token, HostPatience patience);
    HeldToken hold(const PKCS11::TokenInfo& token);
    // The same with the shorter limits for listings: see ModuleHost::forListing().
    HeldToken holdForListing(const PKCS11::TokenInfo& token);

private:
    friend class HeldToken;

    struct Login {
        Account owner;
        std::uint64_t incarnation;
    };
    // The state of the slots that a caller has seen (HostTokens).
    struct SlotState {
        std::uint64_t incarnation = 0, state = 0;
    };
    using LoginKey = std::pair<std::string, std::string>; // label and serial number

    // What several threads use.
    struct State {
        bool loaded = false;
        Remarks problem{remark(vocabulary::Refused::moduleUnfit, "not loaded yet")};
        std::vector<PKCS11::TokenInfo> lastTokens;
        std::vector<PKCS11::TokenInfo> removed;
        std::uint64_t lastIncarnation = 0; // that the last tokens were seen in
        std::map<LoginKey, Login> logins;

        // Replaces the last tokens by a new listing.
        void remember(std::vector<PKCS11::TokenInfo> tokens);
    };

    std::optional<SeenTokens> look(SlotState& seen);
    SeenTokens seenIn(const HostTokens& listing) const;
    std::vector<PKCS11::TokenInfo> lastTokens() const;
    UnseenTokens unseen(const Remarks& why) const;
    UnseenTokens unseen(const HostUnreadToken& token) const;
    PKCS11::TokenInfo record(const HostToken& token) const;
    std::optional<Account> ownerOf(const LoginKey& token, std::uint64_t incarnation) const;
    void setOwner(const LoginKey& token, Account owner, std::uint64_t incarnation);

    const Settings settings_;
    const LoginHook loggedIn_;
    ModuleHost host_;
    SlotState watched_; // by the watcher, in its thread
    std::atomic<std::uint64_t> lastChange_{0};

    platform::Guarded<State> state_;
};

} // namespace panelkitd
