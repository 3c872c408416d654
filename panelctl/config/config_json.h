// SPDX-License-Identifier: MIT
//
// Parameters as JSON (docs/configuration.schema.json):
//
//   flags      true, false
//   numbers    90
//   choices    {"value": 1, "name": "NATT_POLICY_STD"}; the number or the symbolic name alone are read too
//   gateways   [{"GATE_ADDRESS": "gw1", "CERT_SUBJECT": "", "DST_SELECTOR": "10.0.0.0/8"}]
//   others     strings, as they are typed
//
// The library reads and prints them (panelkit/lparams/param_kind.h). Display texts appear nowhere: what is stored does
// not depend on a language.
#pragma once

#include <panelctl/config/config_draft.h>

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

namespace panelctl {

// The value, masked when it is a secret and not revealed.
nlohmann::ordered_json valueToJson(const SectionValue& value, bool reveal);

// Sets the value. Throws CommandError, with the value as it was.
void setFromJson(SectionBody& body, std::size_t index, const platform::json::Value& json);

// A parameter with its value, for listings.
nlohmann::ordered_json parameterToJson(const SectionValue& value, bool reveal);

// Adds what is fixed about a parameter: its help, its effect, and what is legal.
void describeInJson(nlohmann::ordered_json& record, const SectionValue& value);

nlohmann::ordered_json changesToJson(const std::vector<Change>& changes, bool reveal);

} // namespace panelctl
