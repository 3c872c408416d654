// SPDX-License-Identifier: MIT
//
// The persistent state of module 5, as one value: the settings of the system and of users, the required policy, the one
// in force, and the last good copies of policy files. A change is made on a copy, which is stored first and then
// replaces the old value.
#pragma once

#include <service/policyfile/policy_text.h>
#include <service/state/state_file.h>

#include <panelkit/lsp/lsp_records.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace panelkitd {

// A policy that was asked for.
struct WantedPolicy {
    std::int32_t source = 0; // LPARAMS::LSP_SOURCE_VARIANTS
    LSPrequest_t request;
    std::string name;   // the caller's name for it; may be empty
    std::string by;     // the account that asked
    std::string userId; // the account whose policy this is; empty for the system's and the driver policy
};

// A policy that was loaded.
struct LoadedPolicy {
    WantedPolicy wanted;
    std::int64_t activated = 0; // seconds since 1970-01-01 UTC
    bool fromConfigDb = false;  // the content is a stored copy
    std::string content;        // of the file; empty for the driver policy
    PolicyText text;            // what the content says; not stored
};

// The last content of a policy file that could be loaded.
struct PolicyCopy {
    std::string file;
    std::string content;
};

struct UserPolicies {
    std::string name;
    std::optional<LSPcmd::LSPsettings_t> set;     // with SetUserSettings
    std::optional<LSPcmd::LSPsettings_t> offered; // from the user's own file; used as long as none are set
    PolicyCopy copy;

    LSPcmd::LSPsettings_t settings() const { return set ? *set : offered.value_or(LSPcmd::LSPsettings_t()); }
};

struct PolicyState {
    LSPcmd::LSPsettings_t system;
    PolicyCopy systemCopy;
    std::map<std::string, UserPolicies> users; // by account

    WantedPolicy required;
    LoadedPolicy inForce;
    std::optional<LoadedPolicy> loading; // checked, and in force after the delay
    Remarks remarks;                     // on the last activation: why it failed, or warnings
    bool failed = false;

    // The remarks in English, for front ends; "#warn: " before them means that the policy was loaded.
    std::string message() const;
};

// Reads the policy texts of loaded policies again. Throws PolicyTextError.
void readTextOf(LoadedPolicy& policy);

// The file with the state.
StateFile policyFile(const StateFolder& folder);

// Returns the stored state or its last good copy; at the first start the driver policy with default settings. If there
// is a file that can't be used, and no copy, the driver policy drops everything except DHCP. If a file can't be used,
// the state's remarks say so.
PolicyState loadPolicyState(StateFile& file);

// Throws RefusedError when the settings that were stored last are not known.
void requireKnown(const StateFile& file);

// Throws as StateFile::write() does; the old state is then unchanged.
void savePolicyState(StateFile& file, const PolicyState& state);

// Throws RefusedError when the account would take more of the file than its share. Users share the file with the
// system's policy, so one account must leave room for it. Existing data beyond the limit is not removed.
void requireShare(const PolicyState& present, const PolicyState& next, const std::string& account);

} // namespace panelkitd
