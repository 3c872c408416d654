// SPDX-License-Identifier: MIT
//
// Loads into the IKE daemon what connections need: private keys on tokens with a log-in, preshared keys, and revocation
// lists. Unloads the keys that are no longer needed.
//
// One thread uses it at a time.
#pragma once

#include <service/engine/engine_wishes.h>
#include <service/engine/ike_control.h>
#include <service/engine/ike_daemon.h>
#include <service/engine/tunnel_board.h>

#include <cstdint>
#include <map>
#include <set>
#include <vector>

namespace panelkitd {

class DaemonKeys {
public:
    // The board is told of keys and lists that the daemon can't use.
    explicit DaemonKeys(TunnelBoard& board) : board_(board) {}

    // Makes the daemon's keys those that the plans need. `running` is what it was started with. Throws ViciError.
    void load(IkeControl& control, const IkeDaemonSettings& running, const std::vector<const IkePlan*>& plans,
              const EngineWishes& wishes);

    // Another process of the daemon may take what the former one has refused.
    void forgetRefusals() { refused_.clear(); }

private:
    using TokenKey = IkeControl::TokenKey;

    void loadKeyOf(const IkeConnection& connection, IkeControl& control, const IkeDaemonSettings& running,
                   const EngineWishes& wishes, std::set<TokenKey>& wanted);
    void give(const TokenKey& key, const EngineWishes::Login* login, const IkeConnection& connection,
              IkeControl& control);

    TunnelBoard& board_;
    // The log-in with which the daemon could not use a key. It is not tried again: a token may count the tries.
    std::map<TokenKey, std::uint64_t> refused_;
};

} // namespace panelkitd
