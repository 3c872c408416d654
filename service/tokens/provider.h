// SPDX-License-Identifier: MIT
//
// A PKCS#11 provider of the service: its module, while it is loaded, and the log-ins to its tokens.
//
// Modules are called by one thread at a time. A command that needs the module holds it (HeldToken); a listing that
// finds it busy answers what it last saw, so that a slow module holds up nobody who does not want something of it.
#pragma once

#include <service/base/refused.h>
#include <service/tokens/pkcs11_library.h>

#include <panelkit/tokens/token_records.h>

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace panelkitd {

class HeldToken;

class Provider {
public:
    // Facts about a provider that do not come from its module.
    struct Settings {
        std::string name;
        std::string path;
        bool remembered = false;
        bool embedded = false;
    };

    explicit Provider(Settings settings) : settings_(std::move(settings)) {}

    const Settings& settings() const { return settings_; }

    // Loads the module, in place of one that is loaded: log-ins end. What goes wrong is kept as the problem; false
    // then.
    bool load();
    void unload();
    // Not loaded, and this is why.
    void setProblem(Remarks why);

    // Why it is not loaded. Nothing when it is.
    Remarks problem();

    PKCS11::ProviderInfo describe();

    // The tokens that are there, or were when the module was last free.
    std::vector<PKCS11::TokenInfo> tokens();

    // For a watcher that asks again and again: the tokens, when the module says that a slot has changed or tells
    // nothing of its slots, or `lookAnyway`; nothing when there is no news or none can be had now.
    std::optional<std::vector<PKCS11::TokenInfo>> tokensIfChanged(bool lookAnyway);

    // Waits for the module and finds the token. Throws RefusedError when it is not there.
    HeldToken hold(const PKCS11::TokenInfo& token);

private:
    friend class HeldToken;

    struct Login {
        CK_SESSION_HANDLE session;
        std::string serial; // another token in the same slot is another token
    };

    PKCS11::TokenInfo describe(CK_SLOT_ID slot);
    std::vector<PKCS11::TokenInfo> look();
    void keep(const std::vector<PKCS11::TokenInfo>& tokens);
    std::vector<CK_SLOT_ID> matching(const PKCS11::TokenInfo& token);

    const Settings settings_;

    std::timed_mutex calls_;                 // held while the module is called; guards these two
    std::unique_ptr<Pkcs11Library> library_; // null while not loaded
    std::map<CK_SLOT_ID, Login> logins_;

    std::mutex facts_; // guards what is known without calling
    LibraryFacts libraryFacts_;
    bool loaded_ = false;
    Remarks problem_{remark(vocabulary::Refused::moduleUnfit, "not loaded yet")};
    std::vector<PKCS11::TokenInfo> lastTokens_;
};

// A token that is ours alone while this lives.
class HeldToken {
public:
    const Pkcs11Library& library() const { return *provider_.library_; }
    CK_SLOT_ID slot() const { return slot_; }
    std::string label() const;

    // The token as listings show it now.
    PKCS11::TokenInfo info() const { return provider_.describe(slot_); }

    // The token's flags as they are now.
    CK_FLAGS flags() const;

    bool loggedIn() const;
    // Logs in as the user and stays so until logout(). Throws RefusedError.
    void login(const std::string& pin);
    void logout();

    // Ends the log-in and all sessions, as initialising wants it.
    void endSessions();

    // A session to work in: the user's when logged in, else one of its own.
    std::unique_ptr<TokenSession> openSession(TokenSession::Mode mode) const;

private:
    friend class Provider;
    HeldToken(Provider& provider, std::unique_lock<std::timed_mutex> lock, CK_SLOT_ID slot)
        : provider_(provider), lock_(std::move(lock)), slot_(slot) {}

    Provider& provider_;
    std::unique_lock<std::timed_mutex> lock_;
    CK_SLOT_ID slot_;
};

} // namespace panelkitd
