// SPDX-License-Identifier: MIT
//
// All sections of the configuration, for front ends that list them or find parameters by name.
//
//   panelkit::AllGroups configuration;                       // every section, with defaults
//   for (auto& group : configuration) group->load();
//
//   const panelkit::Place place = configuration.find("IKE", "EXCHANGE_TIMEOUT");
//   if (place.param) std::cout << panelkit::printParam(*place.param);
//
// See also section_body.h (sections as bytes) and config_transaction.h (changes that are undone when they fail).
#pragma once

#include <panelkit/lparams/param_text.h>
#include <panelkit/lparams/sections/admin.h>
#include <panelkit/lparams/sections/certmon.h>
#include <panelkit/lparams/sections/ike.h>
#include <panelkit/lparams/sections/log.h>
#include <panelkit/lparams/sections/logon.h>
#include <panelkit/lparams/sections/pcap.h>
#include <panelkit/lparams/sections/policy.h>
#include <panelkit/lparams/sections/privkey.h>
#include <panelkit/lparams/sections/proxy.h>
#include <panelkit/lparams/sections/update.h>
#include <panelkit/lparams/sections/user.h>

#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace panelkit {

// A section and its name.
struct Section {
    const char* name;
    std::unique_ptr<LPARAMS::Client::ParamGroup> (*make)();
};

// The eleven sections, in alphabetical order. LSP_GATE is not one of them: it exists only within USER.
PANELKIT_EXPORT std::span<const Section> sections();

// A parameter and the group that it belongs to; null where nothing was found.
struct Place {
    LPARAMS::Client::ParamGroup* group = nullptr;
    LPARAMS::Client::Param* param = nullptr;
};

// Returns the parameter with that key, case-insensitively; null when there is none.
PANELKIT_EXPORT LPARAMS::Client::Param* findParam(LPARAMS::Client::ParamGroup& group, std::string_view key);

// One group of every section, in the order of sections().
class PANELKIT_EXPORT AllGroups {
public:
    AllGroups();
    ~AllGroups();
    AllGroups(const AllGroups&) = delete;
    AllGroups& operator=(const AllGroups&) = delete;

    auto begin() const { return groups_.begin(); }
    auto end() const { return groups_.end(); }

    // Finds by name, case-insensitively. `group` is set when the section exists, `param` when the key does too.
    Place find(std::string_view section, std::string_view key) const;

private:
    std::vector<std::unique_ptr<LPARAMS::Client::ParamGroup>> groups_;
};

// Finds "SECTION.KEY", case-insensitively, among all groups. When there is none, the error names the nearest.
PANELKIT_EXPORT std::optional<ParamError> findByName(const AllGroups& groups, std::string_view name, Place& place);

// Every section with its defaults: one prototype of each for the whole process, which lends names, texts, bounds and
// choices. It is built at the first call, which must not run at the same time as the constructor of any other group
// (registerText); after that any thread may use it. Nobody changes its values.
PANELKIT_EXPORT const AllGroups& allGroups();

} // namespace panelkit
