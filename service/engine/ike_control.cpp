// SPDX-License-Identifier: MIT
#include <service/engine/ike_control.h>

#include <service/base/log.h>

#include <algorithm>
#include <utility>

namespace panelkitd {

using vocabulary::Refused;

namespace {

std::string bytesOf(const ViciSection& message) { return encodeVici({ViciPacketType::request, "load-conn", message}); }

bool isSame(const ViciSection& a, const ViciSection& b) { return bytesOf(a) == bytesOf(b); }

std::string hexOf(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += "0123456789abcdef"[value >> 4U];
        text += "0123456789abcdef"[value & 15U];
    }
    return text;
}

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

// ---- keys

void IkeControl::loadKey(const TokenKey& key, const platform::Secret& pin) {
    if (keys_.contains(key)) return;
    ViciSection message;
    message.add("handle", hexOf(key.keyId)).add("module", key.module);
    if (key.slotMatters) message.add("slot", std::to_string(key.slot));
    if (!pin.empty()) message.add("pin", pin);
    keys_.insert_or_assign(key, vici_->request("load-token", std::move(message)).text("id"));
}

void IkeControl::keepOnlyKeys(const std::set<TokenKey>& keys) {
    for (auto key = keys_.begin(); key != keys_.end();) {
        if (keys.contains(key->first)) {
            ++key;
            continue;
        }
        tryTo("unload-key", ViciSection().add("id", key->second));
        key = keys_.erase(key);
    }
}

void IkeControl::setSharedKeys(const std::map<std::string, SharedKey>& keys) {
    for (auto key = shared_.begin(); key != shared_.end();) {
        if (keys.contains(key->first)) {
            ++key;
            continue;
        }
        tryTo("unload-shared", ViciSection().add("id", key->first));
        key = shared_.erase(key);
    }
    for (const auto& [name, key] : keys) {
        const auto present = shared_.find(name);
        const bool same = present != shared_.end() && present->second.value.view() == key.value.view() &&
                          present->second.owners == key.owners;
        if (same) continue;
        vici_->request(
            "load-shared",
            ViciSection().add("id", name).add("type", "IKE").add("data", key.value).add("owners", key.owners));
        shared_.insert_or_assign(name, key);
    }
}

std::optional<bridge::Remark> IkeControl::loadCrl(const EngineCrl& crl) {
    if (crl.der.size() > vici::longestValue) {
        return remark(Refused::none,
                      "the IKE daemon can't use the revocation list of \"%s\": it has %d bytes, more than %d",
                      crl.issuer, crl.der.size(), vici::longestValue);
    }
    if (!crl.hasKeyId) {
        return remark(Refused::none,
                      "the IKE daemon can't use the revocation list of \"%s\": it has no authority key identifier",
                      crl.issuer);
    }
    try {
        vici_->request("load-cert", ViciSection().add("type", "X509_CRL").add("flag", "NONE").add("data", crl.der));
    } catch (const ViciRefusal& refusal) {
        return remark(Refused::none, "the IKE daemon can't use the revocation list of \"%s\": %s", crl.issuer,
                      refusal.what());
    }
    newCrls_ = true;
    return std::nullopt;
}

std::vector<bridge::Remark> IkeControl::addCrls(const std::vector<EngineCrl>& crls) {
    std::vector<bridge::Remark> problems;
    for (const EngineCrl& crl : crls) {
        auto known = crls_.find(crl.der);
        if (known == crls_.end()) {
            known = crls_.emplace(crl.der, loadCrl(crl)).first;
            if (known->second) logError(inEnglish({*known->second}));
        }
        if (known->second) problems.push_back(*known->second);
    }
    return problems;
}

void IkeControl::forgetReplacedCrls(const std::vector<EngineCrl>& crls) {
    std::set<std::string> wanted, present;
    for (const EngineCrl& crl : crls) wanted.insert(crl.der);
    for (const auto& [der, problem] : crls_) present.insert(der);
    if (std::includes(wanted.begin(), wanted.end(), present.begin(), present.end()) ||
        std::includes(present.begin(), present.end(), wanted.begin(), wanted.end())) {
        return;
    }
    vici_->request("clear-creds");
    keys_.clear();
    shared_.clear();
    anchors_.clear();
    crls_.clear();
}

bool IkeControl::takesAnchor(const std::string& der) {
    const auto [anchor, isNew] = anchors_.emplace(der, false);
    if (!isNew) return anchor->second;
    try {
        vici_->request("load-cert", ViciSection().add("type", "X509").add("flag", "CA").add("data", der));
        anchor->second = true;
    } catch (const ViciRefusal& refusal) {
        logError(std::string("the IKE daemon can't use the certificate of an authority: ") + refusal.what());
    }
    return anchor->second;
}

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

// ---- tunnels

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
