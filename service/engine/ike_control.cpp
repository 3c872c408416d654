// SPDX-License-Identifier: MIT
#include <service/engine/ike_control.h>

#include <service/base/log.h>

#include <platform/system/files.h>

#include <algorithm>
#include <fstream>
#include <utility>

namespace panelkitd {

namespace {

std::string bytesOf(const ViciSection& message) { return encodeVici({ViciPacketType::request, "load-conn", message}); }

bool isSame(const ViciSection& a, const ViciSection& b) { return bytesOf(a) == bytesOf(b); }

// A connection's message without its children, and each child.
ViciSection withoutChildren(const ViciSection& message) {
    ViciSection config = std::get<ViciSection>(message.items.at(0).value);
    std::erase_if(config.items, [](const ViciItem& item) { return item.name == "children"; });
    return config;
}
const ViciSection* childrenIn(const ViciSection& message) {
    return std::get<ViciSection>(message.items.at(0).value).section("children");
}

} // namespace

// The daemon may refuse, because it is gone already, what is to go.
void IkeControl::tryTo(const std::string& command, ViciSection message) {
    try {
        vici_->request(command, std::move(message));
    } catch (const ViciRefusal& refusal) {
        logDebug("the IKE daemon, " + command + ": " + refusal.what());
    }
}

// ---- a daemon that others use too

void IkeControl::forgetFormer() {
    if (!isShared()) return;
    for (const char* kind : {"conns", "shared"}) {
        const ViciSection answer = vici_->request(std::string("get-") + kind);
        const bool isConnection = kind[0] == 'c';
        const std::vector<std::string>* names = answer.list(isConnection ? "conns" : "keys");
        for (const std::string& name : names ? *names : std::vector<std::string>()) {
            if (!name.starts_with(ourPrefix)) continue;
            if (!isConnection) {
                tryTo("unload-shared", ViciSection().add("id", name));
                continue;
            }
            tryTo("unload-conn", ViciSection().add("name", name));
            endConnection(name);
        }
    }
    std::ifstream notes(notes_);
    for (std::string id; std::getline(notes, id);) tryTo("unload-key", ViciSection().add("id", id));
    noteKeys();
}

void IkeControl::withdraw() {
    const Loaded all = loaded_;
    restore({});
    for (const auto& [name, message] : all) endConnection(name);
    keepOnlyKeys({});
    setSharedKeys({});
}

// The ids are not secret.
void IkeControl::noteKeys() const {
    if (!isShared()) return;
    std::string ids;
    for (const auto& [key, id] : keys_) ids += id + '\n';
    platform::updateOwnFile(notes_, ids);
}

// ---- connections

void IkeControl::loadMessage(const std::string& name, const ViciSection& message) {
    const auto present = loaded_.find(name);
    if (present != loaded_.end() && isSame(present->second, message)) return;
    vici_->request("load-conn", message);
    loaded_.insert_or_assign(name, message);
}

void IkeControl::load(const IkeConnection& connection) {
    loadMessage(connection.name, panelkitd::loadMessage(connection));
}

void IkeControl::restore(const Loaded& former) {
    for (const auto& [name, message] : former) {
        try {
            loadMessage(name, message);
        } catch (const ViciRefusal& refusal) {
            logError(std::string("a connection of the policy in force can't be loaded again: ") + refusal.what());
        }
    }
    for (const auto& [name, message] : loaded()) {
        if (former.contains(name)) continue;
        tryTo("unload-conn", ViciSection().add("name", name));
        loaded_.erase(name);
    }
}

std::vector<IkeControl::Ended> IkeControl::endChanged(const std::string& name, const ViciSection& former,
                                                      const ViciSection& now) {
    if (!isSame(withoutChildren(former), withoutChildren(now))) {
        endConnection(name);
        return {{name, {}}};
    }
    std::vector<Ended> ended;
    for (const ViciItem& child : childrenIn(former)->items) {
        const ViciSection* next = childrenIn(now)->section(child.name);
        if (next && isSame(*next, std::get<ViciSection>(child.value))) continue;
        endTunnel(name, child.name);
        if (next) ended.push_back({name, child.name});
    }
    return ended;
}

std::vector<IkeControl::Ended> IkeControl::keepOnly(const std::vector<IkeConnection>& connections,
                                                    const Loaded& former) {
    std::set<std::string> kept;
    for (const IkeConnection& connection : connections) kept.insert(connection.name);
    std::vector<Ended> ended;
    for (const auto& [name, message] : former) {
        if (!kept.contains(name)) {
            tryTo("unload-conn", ViciSection().add("name", name));
            loaded_.erase(name);
            endConnection(name);
            continue;
        }
        const auto present = loaded_.find(name);
        if (present == loaded_.end()) continue;
        const std::vector<Ended> changed = endChanged(name, message, present->second);
        ended.insert(ended.end(), changed.begin(), changed.end());
    }
    return ended;
}

// ---- tunnels

std::vector<std::string> IkeControl::espProposals() {
    const ViciSection known = vici_->request("get-algorithms");
    const auto has = [&](const char* kind, const char* algorithm) {
        const ViciSection* section = known.section(kind);
        return section && !section->text(algorithm).empty();
    };
    std::vector<std::string> proposals;
    if (has("aead", "AES_GCM_16")) proposals.emplace_back("aes256gcm16-aes128gcm16");
    if (has("aead", "CHACHA20_POLY1305")) proposals.emplace_back("chacha20poly1305");
    if (has("encryption", "AES_CBC")) proposals.emplace_back("aes256-aes192-aes128-sha256-sha384-sha512");
    return proposals;
}

// Without waiting for the gateway.
void IkeControl::initiate(const std::string& connection, const std::string& section) {
    vici_->request(
        "initiate",
        ViciSection().add("ike", connection).add("child", section).add("timeout", "-1").add("loglevel", "-1"));
}

void IkeControl::endTunnel(const std::string& connection, const std::string& section) {
    tryTo("terminate",
          ViciSection().add("ike", connection).add("child", section).add("timeout", "-1").add("loglevel", "-1"));
}

void IkeControl::endConnection(const std::string& connection) {
    tryTo("terminate", ViciSection().add("ike", connection).add("timeout", "-1").add("loglevel", "-1"));
}

void IkeControl::rekey(const std::string& connection, const std::string& section) {
    vici_->request("rekey", ViciSection().add("ike", connection).add("child", section));
}

} // namespace panelkitd
