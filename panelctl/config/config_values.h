// SPDX-License-Identifier: MIT
//
// Parameters by name and as text: how panelctl finds, shows and sets them, and what it says of a name or a value that
// can't be taken. Each kind of mistake has its exit code.
#pragma once

#include <panelctl/base/exit_codes.h>

#include <panelkit/lparams/sections/section_body.h>
#include <panelkit/lparams/sections/sections.h>

#include <string>
#include <vector>

namespace panelctl {

using LPARAMS::Client::Param;
using LPARAMS::Client::ParamGroup;
using panelkit::allGroups;
using panelkit::Place;
using panelkit::secretMask;
using panelkit::SectionBody;
using panelkit::SectionValue;

// "IKE.EXCHANGE_TIMEOUT"
std::string nameOf(const ParamGroup& group, const Param& param);
inline std::string nameOf(const SectionValue& value) { return nameOf(*value.section, *value.param); }

// The parameter "SECTION.KEY" of the catalogue. Throws CommandError.
Place findParameter(const std::string& name);

// The parameters of the catalogue that are named, by section or one by one; all of them without a name. Throws
// CommandError.
std::vector<Place> findParameters(const std::vector<std::string>& names);

// What is said of a section, or of a key of a section, that is not there; with what was probably meant.
CommandError noSuchSection(const std::string& section);
CommandError noSuchKey(const ParamGroup& group, const std::string& key);

// The value as text: a secret is masked unless it is revealed.
std::string shown(const SectionValue& value, bool reveal);

// What panelkitd does with the parameter, and from when; "none" if nothing.
std::string effectText(const SectionValue& value);

// Sets the value. Throws CommandError, with the value as it was, when the text is not legal.
void setFromText(SectionBody& body, std::size_t index, const std::string& text);

// The error for a value that is not legal.
CommandError illegal(const SectionValue& value, const panelkit::ParamError& error);

// The error when the mask is given as the value of a secret.
CommandError maskGiven(const SectionValue& value);

} // namespace panelctl
