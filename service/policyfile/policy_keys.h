// SPDX-License-Identifier: MIT
//
// The keys of a policy file: their values, and which may be combined. For policy_text.cpp.
#pragma once

#include <service/policyfile/policy_text.h>

#include <optional>
#include <string>

namespace panelkitd {

// A key and its line in the file.
struct KeyLine {
    unsigned line;
    const std::string& key;
};

// Each checks the value and stores it. Returns the mistake, with the line and the key; nullopt when there is none.
std::optional<bridge::Remark> takePolicyKey(PolicyText& head, const KeyLine& at, const std::string& value);
std::optional<bridge::Remark> takePolicyKey(PolicySection& section, const KeyLine& at, const std::string& value);

// The word for it in a file.
const char* wordOf(PolicyAction action);
const char* wordOf(PolicyAuthentication authentication);

// A piece of a file for a message; a long one is cut and ends with "...".
std::string shortened(const std::string& text);

// The contradictions in a complete section: "line 7: section [office] has no action".
Remarks contradictionsOf(const PolicySection& section);

} // namespace panelkitd
