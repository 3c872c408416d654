// SPDX-License-Identifier: MIT
//
// Where the system's policy is taken from. It is one thing with two faces: the parameters POLICY.SYSTEM_LSP_SOURCE and
// POLICY.SYSTEM_LSP_FROM_FILE of the configuration, and two fields of the policy settings. The policy settings keep it.
// The configuration shows it, and hands a change on before a commit is stored.
#pragma once

#include <panelkit/lparams/sections/section_body.h>

#include <cstdint>
#include <functional>
#include <string>

namespace panelkitd {

struct PolicySource {
    std::int32_t source = 0; // LPARAMS::LSP_SOURCE_VARIANTS
    std::string file;        // with SOURCE_FILE

    bool operator==(const PolicySource&) const = default;
};

// Who keeps it. Both functions throw RefusedError: for a source that can't be taken, and when it can't be stored;
// nothing has changed then.
struct PolicySourceKeeper {
    std::function<void(const PolicySource& source)> check;
    std::function<void(const PolicySource& source)> keep;
};

// The section with the two parameters.
inline constexpr const char* policySourceSection = "POLICY";

PolicySource policySourceIn(const panelkit::SectionBody& body);
void setPolicySource(panelkit::SectionBody& body, const PolicySource& source);

} // namespace panelkitd
