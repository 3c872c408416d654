// SPDX-License-Identifier: MIT
#include <panelctl/keys/key_names.h>

#include <panelctl/base/terminal_text.h>
#include <panelctl/base/unseen.h>
#include <panelctl/certs/cert_format.h>
#include <panelctl/certs/choosing.h>
#include <panelctl/tokens/log_in.h>

#include <platform/text/ascii.h>

namespace panelctl {

using panelkit::KeyInfo;
using PKCS11::TokenInfo;

namespace {

bool named(const KeyInfo& key, const std::string& name) {
    const std::string digits = hexDigits(name);
    return key.label == name || (!digits.empty() && digits == key.id) || beginsFingerprint(digits, key.fingerprint);
}

bool isOfUri(const KeyOnToken& key, const std::string& uri) {
    const std::optional<std::string> type = uriAttribute(uri, "type");
    if (type && *type != (key.object.hasPrivateKey ? "private" : "public")) return false;
    if (!matchesUri(key.token, uri)) return false;
    const std::optional<std::string> label = uriAttribute(uri, "object");
    const std::optional<std::string> id = uriAttribute(uri, "id");
    return (!label || key.object.label == *label) && (!id || key.object.id == platform::hexText(*id));
}

std::string keyLine(const KeyOnToken& entry) {
    const KeyInfo& key = entry.object;
    return say("  %s  \"%s\", %s, on token \"%s\"", key.fingerprint.empty() ? key.id : key.fingerprint.substr(0, 16),
               escaped(key.label), keyText(key.keyType, key.keyBits), escaped(nameOf(entry.token)));
}

} // namespace

std::string nameOf(const KeyInfo& key) {
    if (!key.label.empty()) return key.label;
    return key.id.empty() ? key.fingerprint.substr(0, 16) : key.id;
}

std::vector<KeyOnToken> listKeys(panelkit::MonitorController& controller, const TokenName& token) {
    std::vector<KeyInfo> keys;
    std::vector<TokenInfo> tokens;
    TokenInfo wanted;
    if (!token.empty()) {
        VpnTokensController names;
        wanted = findToken(names, token);
    }
    if (!controller.EnumKeys(token.empty() ? nullptr : &wanted, keys, tokens)) throw lastFailureError();
    noteUnseen();
    std::vector<KeyOnToken> listed;
    for (std::size_t i = 0; i < keys.size(); ++i) listed.push_back({std::move(keys[i]), std::move(tokens[i])});
    return listed;
}

KeyOnToken findKey(panelkit::MonitorController& controller, const ObjectName& name) {
    const std::vector<KeyOnToken> listed = listKeys(controller, name.token);
    std::vector<Test<KeyInfo>> tests;
    if (isUri(name.name)) {
        tests.emplace_back([&](const KeyOnToken& entry) { return isOfUri(entry, name.name); });
    } else {
        tests.emplace_back([&](const KeyOnToken& entry) { return named(entry.object, name.name); });
    }
    if (const auto found = onlyOne(listed, tests, name.name, keyLine)) return *found;
    const auto names = textsOf(listed, [](const KeyOnToken& entry) { return nameOf(entry.object); });
    failUnknown(say("there is no key \"%s\"", name.name), name.name, names);
}

Cell privateKeyCell(const KeyOnToken& key) {
    if (key.object.usable) return {say("can be used"), Mood::good};
    if (key.object.hasPrivateKey) return {say("can't sign"), Mood::warning};
    return needsLogin(key.token) ? Cell{say("not visible without log-in"), Mood::warning}
                                 : Cell{say("not on the token"), Mood::plain};
}

nlohmann::ordered_json toJson(const KeyOnToken& entry) {
    const KeyInfo& key = entry.object;
    nlohmann::ordered_json json{{"schema", 1},
                                {"label", key.label},
                                {"keyId", key.id},
                                {"type", keyTypeName(key.keyType)},
                                {"bits", key.keyBits},
                                {"fingerprint", key.fingerprint},
                                {"hasPrivateKey", key.hasPrivateKey},
                                {"hasPublicKey", key.hasPublicKey},
                                {"usable", key.usable},
                                {"extractable", key.extractable},
                                {"asksForPin", key.asksForPin},
                                {"certificates", key.certificates}};
    if (!key.hasPrivateKey && needsLogin(entry.token)) json["hasPrivateKey"] = nullptr; // not known
    json["uri"] = uriOf(entry.token, key.hasPrivateKey ? "private" : "public", key.label, bytesFromHex(key.id));
    json["token"] = tokenJson(entry.token);
    return json;
}

} // namespace panelctl
