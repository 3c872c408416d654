// SPDX-License-Identifier: MIT
//
// The text of the configuration's file: JSON with one parameter per line, which people may read and edit.
//
//   {
//     "format": 1,
//     "sections": {
//       "PROXY": {
//         "HTTP_LISTEN_PORT": 0,
//         "HTTP_LISTEN_ADDR": ""
//       }
//     }
//   }
//
// A missing section has its defaults; a section in the file must have all its parameters. Values have the form of
// panelkit/lparams/param_kind.h, and every possible body is read back unchanged: a flag that is neither on nor off is
// written as its number, a text that is not UTF-8 as {"hex": "C3A9"}, and a QCD secret as its history.
#pragma once

#include <panelkit/lparams/sections/section_body.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace panelkitd {

// The format that is written. The reader takes texts of this format; older ones are migrated before.
inline constexpr int configurationFormat = 1;

// The bodies of sections by the sections' names.
using Bodies = std::map<std::string_view, panelkit::SectionBody>;

// Returns the section with exactly that name, or null. Gateways are part of USER and not a section.
const LPARAMS::Client::ParamGroup* findSection(std::string_view name);

std::string printConfiguration(const Bodies& bodies);

struct ReadConfiguration {
    std::optional<Bodies> bodies;      // set when there are no problems
    std::vector<std::string> problems; // "line 12: IKE.MAX_HALFOPEN: expected a whole number from ..."
    std::vector<std::string> notes;    // accepted, but unusual: numbers out of bounds
};

// Reads the whole text, or reports every problem. Secrets never get into these texts.
ReadConfiguration readConfiguration(std::string_view text);

} // namespace panelkitd
