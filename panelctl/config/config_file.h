// SPDX-License-Identifier: MIT
//
// Configurations in files: {"IKE": {"EXCHANGE_TIMEOUT": 90}}. Sections and keys may be left out, and then stay as they
// are.
#pragma once

#include <panelctl/config/config_draft.h>

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

namespace panelctl {

// Takes the values of a file ("-" is standard input) into the draft. Names every error of the file, then throws
// CommandError.
void readConfigFile(const std::string& path, ConfigDraft& draft);

// The names of parameters that an export leaves out, as lists for people.
struct LeftOut {
    std::string secrets; // unless they are revealed
    std::string texts;   // that are not UTF-8, which JSON can't carry
};

// What a file holds of the parameters.
nlohmann::ordered_json configToJson(const std::vector<SectionValue>& values, bool reveal, LeftOut& leftOut);

} // namespace panelctl
