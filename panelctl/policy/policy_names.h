// SPDX-License-Identifier: MIT
//
// The policy's records for people and for scripts: the names of types, choices and settings, and their JSON.
#pragma once

#include <panelctl/base/exit_codes.h>
#include <panelctl/base/say.h>

#include <panelkit/lparams/variants.h>
#include <panelkit/lsp/lsp_controller.h>

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace panelctl {

// "system policy from a file"; the number where there is no name.
std::string policyTypeName(std::uint32_t type);
std::string driverModeName(std::uint32_t mode);
std::string authenticationName(std::uint32_t kind);

// A choice in the user's language with its symbolic name: "File (SOURCE_FILE)"; "=NUMBER" where it is not a choice.
std::string choiceName(const LPARAMS::Variant* rows, std::int32_t value);

// Reads a choice: its text in the user's language, its symbolic name, or =NUMBER, in upper or lower case. Throws
// CommandError, which names the option and the choices.
std::int32_t readChoice(const std::string& option, const std::string& given, const LPARAMS::Variant* rows);

// The error for an option's value that is not one of the legal ones; it names these, and the one probably meant.
CommandError notAmong(const std::string& option, const std::string& given, const std::vector<std::string>& legal);

nlohmann::ordered_json toJson(const LSPrequest_t& request);
nlohmann::ordered_json toJson(const LSPcmd::LSPsettings_t& settings);
// The required policy and the one in force, with the state as a word, and the texts.
nlohmann::ordered_json toJson(const LSPinfo_t& info, const LSPrequest_t& required, LSPrequest_t::InfoType state,
                              const std::string& shown);

// As printLines, to standard error.
void noteLines(const std::string& text);

// The message of the information that was asked for last, in the user's language. The library knows a warning by its
// mark, so that stays. Remarks beside an empty message are details of a policy with which nothing is wrong.
std::string policyMessage(const LSPinfo_t& info);

} // namespace panelctl
