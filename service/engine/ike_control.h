// SPDX-License-Identifier: MIT
//
// What one process of the IKE daemon has been given: connections, private keys on tokens, preshared keys and revocation
// lists; and the commands on its tunnels. It ends with the process: a new one has to be given everything again.
//
// A daemon that others use too is asked only for what has our prefix (ourPrefix), and for the keys that were loaded
// here.
//
// One thread uses it at a time. Every function throws ViciError when the daemon does not answer or answers nonsense,
// and ViciRefusal when it refuses.
#pragma once

#include <service/engine/ike_connections.h>
#include <service/engine/ike_state.h>
#include <service/engine/vici_connection.h>

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace panelkitd {

class IkeControl {
public:
    // `notes` is a file of ours for the ids of loaded keys, if others use the daemon too; else empty.
    explicit IkeControl(std::unique_ptr<ViciConnection> connection, std::string notes = {})
        : vici_(std::move(connection)), notes_(std::move(notes)) {}

    // If others use it too: removes what a service that was killed has left there.
    void forgetFormer();
    // Takes everything back, but certificates and lists: the daemon can only forget all of them, others' too.
    void withdraw();

    // ---- connections

    // Loads the connection unless the daemon has it in this form. Present tunnels stay, in their old form.
    void load(const IkeConnection& connection);
    // What the daemon has, for putting it back: the messages that loaded the connections, by name.
    using Loaded = std::map<std::string, ViciSection>;
    Loaded loaded() const { return loaded_; }
    // Makes the connections what they were, as far as the daemon takes them.
    void restore(const Loaded& former);
    // Removes the connections that are not in the list, and ends the tunnels whose sections are not, or have changed
    // since `former`. Returns those of present sections.
    struct Ended {
        std::string connection;
        std::string section; // empty: all of them, since the connection itself has changed
    };
    std::vector<Ended> keepOnly(const std::vector<IkeConnection>& connections, const Loaded& former);

    // ---- keys

    // Loads the private key on the token, with its PIN; an empty one for a token that needs no log-in. Does nothing
    // when the key is loaded.
    struct TokenKey {
        std::string module; // its name in the daemon's configuration
        std::uint64_t slot = 0;
        bool slotMatters = false; // other tokens have the same key
        std::string keyId;        // bytes of CKA_ID
        // NOLINTNEXTLINE(modernize-use-nullptr): it has no pointer
        auto operator<=>(const TokenKey&) const = default;
    };
    void loadKey(const TokenKey& key, const platform::Secret& pin);
    // Takes all keys away that are not in the list.
    void keepOnlyKeys(const std::set<TokenKey>& keys);

    struct SharedKey {
        platform::Secret value;
        std::vector<std::string> owners; // identities of gateways
    };
    // Makes the preshared keys those of the list, by name.
    void setSharedKeys(const std::map<std::string, SharedKey>& keys);

    // Loads the revocation lists that it does not have. Returns why some of them can't be used.
    std::vector<bridge::Remark> addCrls(const std::vector<EngineCrl>& crls);
    // Makes the daemon forget its lists if one of them was replaced: of two lists it uses the one that it got first. It
    // can only forget all its keys and authorities with them, which are to be loaded again. A list that is merely gone
    // stays, and so does every list if others use the daemon too.
    void forgetReplacedCrls(const std::vector<EngineCrl>& crls);
    // Whether addCrls() has loaded any since the last call.
    bool hadNewCrls() { return std::exchange(newCrls_, false); }

    // Whether the daemon can read the certificate of an authority: without its plugin for elliptic curves, for example,
    // it reads only those with RSA keys. The daemon keeps it, but connections trust only the anchors that they name.
    bool takesAnchor(const std::string& der);

    // The algorithms for data that the daemon has itself. With ESP in user space its own proposals don't do: they name
    // those that a kernel usually has.
    std::vector<std::string> espProposals();

    // ---- tunnels

    IkeStates states() { return ikeStates(vici_->listing("list-sas", "list-sa")); }
    void initiate(const std::string& connection, const std::string& section);
    void endTunnel(const std::string& connection, const std::string& section);
    void endConnection(const std::string& connection);
    void rekey(const std::string& connection, const std::string& section);

    // Reads the daemon's configuration again.
    void reloadSettings() { vici_->request("reload-settings"); }

private:
    void loadMessage(const std::string& name, const ViciSection& message);
    std::vector<Ended> endChanged(const std::string& name, const ViciSection& former, const ViciSection& now);
    std::optional<bridge::Remark> loadCrl(const EngineCrl& crl);
    void tryTo(const std::string& command, ViciSection message);

    bool isShared() const { return !notes_.empty(); }
    void noteKeys() const;

    const std::unique_ptr<ViciConnection> vici_;
    const std::string notes_;
    Loaded loaded_;
    std::map<TokenKey, std::string> keys_; // and what the daemon calls them
    std::map<std::string, SharedKey> shared_;
    std::map<std::string, std::optional<bridge::Remark>> crls_; // by DER: why it can't be used
    bool newCrls_ = false;
    std::map<std::string, bool> anchors_; // whether it takes them
};

} // namespace panelkitd
