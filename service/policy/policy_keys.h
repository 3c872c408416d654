// SPDX-License-Identifier: MIT
//
// The keys of a policy file: what each takes, and which go together. For policy_text.cpp.
#pragma once

#include <service/policy/policy_text.h>

#include <string>
#include <vector>

namespace panelkitd {

// Each checks the value and puts it where it belongs. What is wrong, in words; empty when nothing is.
std::string takePolicyKey(PolicyText& head, const std::string& key, const std::string& value);
std::string takePolicyKey(PolicySection& section, const std::string& key, const std::string& value);

// A piece of a file for a message; a long one is cut.
std::string quoted(const std::string& text);

// What does not go together in a section that is complete: "has no action".
std::vector<std::string> contradictionsOf(const PolicySection& section);

} // namespace panelkitd
