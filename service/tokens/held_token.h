// SPDX-License-Identifier: MIT
//
// A token of a provider in use. One thread uses a HeldToken.
#pragma once

#include <service/tokens/provider.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace panelkitd {

// A token. While this object exists, no other thread can send commands to the token's module. All functions that use
// the token throw RefusedError.
class HeldToken {
public:
    const PKCS11::TokenInfo& named() const { return named_; }
    // Whether it is a token of the embedded provider, which only this service writes to.
    bool isOwn() const { return provider_->settings().embedded; }

    // Returns the record of the token in its present state, as in listings.
    PKCS11::TokenInfo info();

    // Logs `who` in as the user of the token until logout(). Does nothing when the same account is logged in already.
    // Refuses when another account is logged in (inUseByAnother).
    void login(const HostLogin& login, const Account& who);
    // Logs out. Only the account that is logged in and administrators may do this; others are refused (inUseByAnother).
    void logout(const Account& who);
    // Logs in for one operation, unless `who` is logged in already. Returns whether it has logged in; if so, the caller
    // must call logoutAfterOnce().
    bool loginForOnce(const platform::Secret& pin, const Account& who);
    void logoutAfterOnce();
    bool loggedIn();

    // Throws RefusedError when objects can't be created or destroyed now: the token is write-protected, or needs a
    // log-in.
    void requireWritable();

    // Erases and initialises the token, which ends the log-in of the user. When another account is logged in, only
    // administrators may do this.
    void initialize(const HostInitialization& wish, const Account& who);
    void changePin(const HostPinChange& change);
    void seed(const platform::Secret& bytes);
    std::vector<HostMechanism> mechanisms();

    // Objects are named by numbers, which are valid while this HeldToken exists.
    std::vector<HostObject> find(const std::vector<HostQuery>& queries);
    std::vector<HostValue> read(std::uint64_t object, const std::vector<std::uint64_t>& types); // empty: it is gone
    std::vector<std::uint64_t> create(const std::vector<HostTemplate>& objects);                // all of them, or none
    void destroy(const std::vector<std::uint64_t>& objects);
    HostKeyPair generate(const HostGeneration& wish);
    std::string sign(HostSigning wish);

    // Returns the number of the last command of this service that may have changed which objects the provider's tokens
    // have or show. No two such commands of the process have the same number.
    std::uint64_t lastChange() const { return provider_->lastChange_; }

private:
    friend class Provider;
    HeldToken(std::shared_ptr<Provider> provider, ModuleHost::Turn turn, const PKCS11::TokenInfo& token);

    void readRest(std::vector<HostObject>& objects, const std::vector<HostQuery>& queries);
    void countChange();
    void requireNoOther(const std::optional<Account>& owner, const Account& who) const;
    void tellPin(const platform::Secret& pin);
    Provider::LoginKey key() const { return {name_.label, name_.serial}; }
    std::optional<Account> owner() const { return provider_->ownerOf(key(), turn_.incarnation()); }

    std::shared_ptr<Provider> provider_; // before the turn, which is given back to it
    ModuleHost::Turn turn_;
    PKCS11::TokenInfo named_;
    HostTokenName name_;
    std::uint64_t generation_ = 0;
};

} // namespace panelkitd
