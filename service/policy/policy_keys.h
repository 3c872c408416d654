// SPDX-License-Identifier: MIT
//
// The keys of a policy file: what each takes, and which go together. For policy_text.cpp.
#pragma once

#include <service/policy/policy_text.h>

#include <optional>
#include <string>

namespace panelkitd {

// A key where it stands in the file.
struct KeyLine {
    unsigned line;
    const std::string& key;
};

// Each checks the value and puts it where it belongs. What is wrong, with the line and the key; nothing when it is
// fine.
std::optional<bridge::Remark> takePolicyKey(PolicyText& head, const KeyLine& at, const std::string& value);
std::optional<bridge::Remark> takePolicyKey(PolicySection& section, const KeyLine& at, const std::string& value);

// A piece of a file for a message; a long one is cut, and ends with "...".
std::string shortened(const std::string& text);

// What does not go together in a section that is complete: "line 7: section [office] has no action".
Remarks contradictionsOf(const PolicySection& section);

} // namespace panelkitd
