// SPDX-License-Identifier: MIT
//
// A PKCS#11 provider of the service: the process of its module, its tokens, and who is logged in to them.
#pragma once

#include <service/base/access.h>
#include <service/modules/module_host.h>

#include <panelkit/tokens/token_records.h>

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace panelkitd {

class HeldToken;

// The tokens that a listing saw, and what is to be said when it did not see all of them.
struct SeenTokens {
    std::vector<PKCS11::TokenInfo> tokens;
    Remarks unseen; // the first is `incomplete`
};

class Provider : public std::enable_shared_from_this<Provider> {
public:
    // Facts about a provider that do not come from its module.
    struct Settings {
        std::string name;
        std::string path;
        bool remembered = false;
        bool embedded = false;
    };

    Provider(Settings settings, std::map<std::string, std::string> environment, ModuleLimits limits);

    const Settings& settings() const { return settings_; }

    // Starts the module's process, in place of one that runs: log-ins end. What goes wrong is kept as the problem;
    // false then.
    bool load();
    void unload();
    // Ends the module's process at once; what is asked of it is refused. For the end of the service.
    void kill() { host_.kill(); }
    // Not loaded, and this is why.
    void setProblem(Remarks why);
    // To be called now and then: sees to a module that hangs or has crashed.
    void lookAfter() { host_.lookAfter(); }
    std::uint64_t incarnation() const { return host_.incarnation(); }

    // Why it is not loaded, or why its tokens are out of reach. Nothing when all is well.
    Remarks problem() const;

    PKCS11::ProviderInfo describe();

    // The tokens that are there. When the module does not answer, those that were there when it last did.
    SeenTokens tokens();

    // For the one watcher, who asks again and again in one thread: the tokens, when the module says that a slot has
    // changed or tells nothing of its slots, or `lookAnyway`; nothing when there is no news or none can be had now.
    std::optional<std::vector<PKCS11::TokenInfo>> tokensIfChanged(bool lookAnyway);

    // Waits for the module. Whether the token is there, the first command to it shows. Throws RefusedError.
    HeldToken hold(const PKCS11::TokenInfo& token, HostPatience patience);
    HeldToken hold(const PKCS11::TokenInfo& token);
    // For listings: see ModuleHost::forListing().
    HeldToken holdForListing(const PKCS11::TokenInfo& token);

private:
    friend class HeldToken;

    struct Login {
        Account owner;
        std::uint64_t incarnation;
    };
    // What an asker has seen of the slots (HostTokens).
    struct SlotState {
        std::uint64_t incarnation = 0, state = 0;
    };
    using LoginKey = std::pair<std::string, std::string>; // label and serial number

    std::optional<std::vector<PKCS11::TokenInfo>> look(SlotState& seen);
    std::vector<PKCS11::TokenInfo> lastTokens() const;
    Remarks unseen(const Remarks& why) const;
    PKCS11::TokenInfo record(const HostToken& token) const;
    std::optional<Account> ownerOf(const LoginKey& token, std::uint64_t incarnation) const;
    void setOwner(const LoginKey& token, Account owner, std::uint64_t incarnation);

    const Settings settings_;
    ModuleHost host_;
    SlotState watched_; // by the watcher, in its thread

    mutable std::mutex mutex_; // guards what follows
    bool loaded_ = false;
    Remarks problem_{remark(vocabulary::Refused::moduleUnfit, "not loaded yet")};
    std::vector<PKCS11::TokenInfo> lastTokens_;
    std::uint64_t lastIncarnation_ = 0; // that they were seen in
    std::map<LoginKey, Login> logins_;
};

// A token whose module is ours alone while this lives. All throw RefusedError.
class HeldToken {
public:
    const PKCS11::TokenInfo& named() const { return named_; }

    // The token as listings show it now.
    PKCS11::TokenInfo info();

    // Logs in as the user and stays so until logout(). Nothing is done for the account that is logged in already;
    // another one is refused (inUseByAnother).
    void login(const HostLogin& login, const Account& who);
    // For the account that is logged in, and for administrators.
    void logout(const Account& who);
    // Logs in for the time of an operation unless `who` is logged in already; returns whether it did, and so the end of
    // it is to be told.
    bool loginForOnce(const std::string& pin, const Account& who);
    void logoutAfterOnce();
    bool loggedIn();

    // Refuses unless objects may be made and destroyed now.
    void requireWritable();

    // Ends the log-in of the user.
    void initialize(const HostInitialization& wish, const Account& who);
    void changePin(const HostPinChange& change);
    void seed(const std::string& bytes);
    std::vector<HostMechanism> mechanisms();

    // Objects are named by numbers, which are good while this lives.
    std::vector<HostObject> find(const std::vector<HostQuery>& queries);
    std::vector<HostValue> read(std::uint64_t object, const std::vector<std::uint64_t>& types); // empty: it is gone
    std::vector<std::uint64_t> create(const std::vector<HostTemplate>& objects);                // all of them, or none
    void destroy(const std::vector<std::uint64_t>& objects);
    HostKeyPair generate(const HostGeneration& wish);
    std::string sign(HostSigning wish);

private:
    friend class Provider;
    HeldToken(std::shared_ptr<Provider> provider, ModuleHost::Turn turn, const PKCS11::TokenInfo& token);

    void readRest(std::vector<HostObject>& objects, const std::vector<HostQuery>& queries);
    void requireNoOther(const std::optional<Account>& owner, const Account& who) const;
    Provider::LoginKey key() const { return {name_.label, name_.serial}; }
    std::optional<Account> owner() const { return provider_->ownerOf(key(), turn_.incarnation()); }

    std::shared_ptr<Provider> provider_; // before the turn, which is given back to it
    ModuleHost::Turn turn_;
    PKCS11::TokenInfo named_;
    HostTokenName name_;
    std::uint64_t generation_ = 0;
};

} // namespace panelkitd
