// SPDX-License-Identifier: MIT
#include <service/engine/daemon_keys.h>

#include <service/base/log.h>

#include <algorithm>
#include <string>
#include <utility>

namespace panelkitd {

using vocabulary::Refused;

namespace {

// The gateways of the plans that are to be proved with the preshared key.
std::vector<std::string> ownersOf(const std::string& name, const std::vector<const IkePlan*>& plans) {
    std::vector<std::string> owners;
    for (const IkePlan* plan : plans) {
        for (const IkeConnection& connection : plan->connections) {
            const bool uses = connection.byPresharedKey && connection.credential == name;
            const bool isNew = std::find(owners.begin(), owners.end(), connection.gateway) == owners.end();
            if (uses && isNew) owners.push_back(connection.gateway);
        }
    }
    return owners;
}

void loadSharedKeys(IkeControl& control, const std::vector<const IkePlan*>& plans, const EngineWishes& wishes) {
    std::map<std::string, IkeControl::SharedKey> shared;
    for (const EnginePresharedKey& key : wishes.credentials.presharedKeys) {
        std::vector<std::string> owners = ownersOf(key.name, plans);
        if (!owners.empty()) shared.emplace(key.name, IkeControl::SharedKey{key.value, std::move(owners)});
    }
    control.setSharedKeys(shared);
}

} // namespace

void DaemonKeys::give(const TokenKey& key, const EngineWishes::Login* login, const IkeConnection& connection,
                      IkeControl& control) {
    const std::uint64_t number = login ? login->number : 0;
    if (const auto refused = refused_.find(key); refused != refused_.end() && refused->second == number) return;
    try {
        control.loadKey(key, login ? login->pin : platform::Secret());
    } catch (const ViciRefusal& refusal) {
        refused_[key] = number;
        logError(std::string("the IKE daemon can't use a private key: ") + refusal.what());
        board_.failed(connection.name,
                      remark(Refused::credentials, "the IKE daemon can't use the private key of \"%s\": %s",
                             connection.credential, refusal.what()));
    }
}

void DaemonKeys::loadKeyOf(const IkeConnection& connection, IkeControl& control, const IkeDaemonSettings& running,
                           const EngineWishes& wishes, std::set<TokenKey>& wanted) {
    const EngineWishes::Login* login = wishes.login(*connection.token);
    const auto& all = wishes.credentials.certificates;
    const auto mine = [&](const EngineCertificate& c) { return c.keyId == connection.keyId; };
    const auto own =
        std::find_if(all.begin(), all.end(), [&](const auto& c) { return mine(c) && c.token.is(*connection.token); });
    if (own == all.end() || (own->needsLogin && !login)) return;
    const bool isTwice =
        std::any_of(all.begin(), all.end(), [&](const auto& c) { return mine(c) && !c.token.is(*connection.token); });
    const TokenKey key{moduleName(running, connection.token->module), connection.token->slot, isTwice,
                       connection.keyId};
    wanted.insert(key);
    give(key, login, connection, control);
}

void DaemonKeys::load(IkeControl& control, const IkeDaemonSettings& running, const std::vector<const IkePlan*>& plans,
                      const EngineWishes& wishes) {
    std::set<TokenKey> wanted;
    for (const IkePlan* plan : plans) {
        for (const IkeConnection& connection : plan->connections) {
            if (connection.token) loadKeyOf(connection, control, running, wishes, wanted);
        }
    }
    control.keepOnlyKeys(wanted);
    loadSharedKeys(control, plans, wishes);
    if (valueOf(wishes.parameters, "IKE.CRL_PROCESSING") != 0)
        board_.setUnusableLists(control.addCrls(wishes.credentials.crls));
}

} // namespace panelkitd
