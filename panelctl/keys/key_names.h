// SPDX-License-Identifier: MIT
//
// How people name key pairs on tokens, and how panelctl finds and shows them: by label, identifier, fingerprint or its
// beginning, or PKCS#11 URI.
#pragma once

#include <panelctl/base/output.h>
#include <panelctl/certs/cert_names.h>

#include <panelkit/monitor/monitor_controller.h>

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace panelctl {

using KeyOnToken = OnToken<panelkit::KeyInfo>;

// All key pairs, or those on the token of that name. Throws CommandError.
std::vector<KeyOnToken> listKeys(panelkit::MonitorController& controller, const TokenName& token = {});

// The pair of that name. Throws CommandError.
KeyOnToken findKey(panelkit::MonitorController& controller, const ObjectName& name);

// Its label; its identifier or fingerprint where it has none.
std::string nameOf(const panelkit::KeyInfo& key);

// What is known of the private key: "can be used", "not visible without log-in"...
Cell privateKeyCell(const KeyOnToken& key);

// A key pair as JSON in every verb.
nlohmann::ordered_json toJson(const KeyOnToken& key);

} // namespace panelctl
