// SPDX-License-Identifier: MIT
//
// Private keys, preshared keys, authorities and revocation lists.
#include <service/engine/ike_control.h>

#include <service/base/log.h>

#include <algorithm>
#include <utility>

namespace panelkitd {

using vocabulary::Refused;

namespace {

std::string hexOf(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += "0123456789abcdef"[value >> 4U];
        text += "0123456789abcdef"[value & 15U];
    }
    return text;
}

} // namespace

void IkeControl::loadKey(const TokenKey& key, const platform::Secret& pin) {
    if (keys_.contains(key)) return;
    ViciSection message;
    message.add("handle", hexOf(key.keyId));
    if (!key.module.empty()) message.add("module", key.module);
    if (!key.module.empty() && key.slotMatters) message.add("slot", std::to_string(key.slot));
    if (!pin.empty()) message.add("pin", pin);
    keys_.insert_or_assign(key, vici_->request("load-token", std::move(message)).text("id"));
    noteKeys();
}

void IkeControl::keepOnlyKeys(const std::set<TokenKey>& keys) {
    for (auto key = keys_.begin(); key != keys_.end();) {
        if (keys.contains(key->first)) {
            ++key;
            continue;
        }
        tryTo("unload-key", ViciSection().add("id", key->second));
        key = keys_.erase(key);
        noteKeys();
    }
}

void IkeControl::setSharedKeys(const std::map<std::string, SharedKey>& keys) {
    for (auto key = shared_.begin(); key != shared_.end();) {
        if (keys.contains(key->first)) {
            ++key;
            continue;
        }
        tryTo("unload-shared", ViciSection().add("id", ourPrefix + key->first));
        key = shared_.erase(key);
    }
    for (const auto& [name, key] : keys) {
        const auto present = shared_.find(name);
        const bool same = present != shared_.end() && present->second.value.view() == key.value.view() &&
                          present->second.owners == key.owners;
        if (same) continue;
        vici_->request("load-shared", ViciSection()
                                          .add("id", ourPrefix + name)
                                          .add("type", "IKE")
                                          .add("data", key.value)
                                          .add("owners", key.owners));
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
    if (isShared()) return;
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

} // namespace panelkitd
