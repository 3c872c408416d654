// SPDX-License-Identifier: MIT
//
// Parameters by name and as text: how panelctl finds, shows and sets them, and what it says of a name or a value that
// can't be taken. Each kind of mistake has its exit code.
#pragma once

#include <panelctl/exit_codes.h>

#include <panelkit/lparams/param_text.h>
#include <panelkit/lparams/sections.h>

#include <string>
#include <vector>

namespace panelctl {

using LPARAMS::Client::Param;
using LPARAMS::Client::ParamGroup;
using panelkit::Place;

// What is printed instead of a secret.
inline constexpr const char* secretMask = "***";

// Every section with its defaults, for names and for comparison.
const panelkit::AllGroups& catalogue();

// "IKE.EXCHANGE_TIMEOUT"
std::string nameOf(const ParamGroup& group, const Param& param);

// The parameter "SECTION.KEY" of the catalogue. Throws CommandError.
Place findParameter(const std::string& name);

// The parameters of the catalogue that names of sections and parameters stand for; all without a name. Throws
// CommandError.
std::vector<Place> findParameters(const std::vector<std::string>& names);

// What is said of a section, or of a key of a section, that is not there; with what was probably meant.
CommandError noSuchSection(const std::string& section);
CommandError noSuchKey(const ParamGroup& group, const std::string& key);

// The value as text: a secret is masked unless it is revealed.
std::string shown(const ParamGroup& group, const Param& param, bool reveal);

// Whether two parameters of one place hold the same value.
bool sameValue(const Param& a, const Param& b);

// Sets the value. Throws CommandError, with the value as it was, when the text is not legal.
void setFromText(ParamGroup& group, Param& param, const std::string& text, panelkit::TextForm form);

// Throws CommandError when the values of a group do not go together.
void requireConstraints(const ParamGroup& group);

// Overwrites the secrets that the group holds.
void wipeSecrets(ParamGroup& group);

} // namespace panelctl
