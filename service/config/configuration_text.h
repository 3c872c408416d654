// SPDX-License-Identifier: MIT
//
// The text of the configuration's file: JSON with one parameter a line, which people may read and edit.
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
// A section that is not there has its defaults; one that is there has all its parameters. Values are those of
// panelkit/lparams/param_kind.h, and whatever bytes a body may hold come back the same: a flag that is neither on nor
// off is its number, a text that is not UTF-8 is {"hex": "C3A9"}, and of a QCD secret the history is there.
#pragma once

#include <panelkit/lparams/sections/section_body.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace panelkitd {

// The bodies of sections by the sections' names.
using Bodies = std::map<std::string_view, panelkit::SectionBody>;

// The section of exactly that name, or null. Gateways are a part of USER, and not a section.
const LPARAMS::Client::ParamGroup* findSection(std::string_view name);

std::string printConfiguration(const Bodies& bodies);

struct ReadConfiguration {
    std::optional<Bodies> bodies;      // when there are no problems
    std::vector<std::string> problems; // "line 12: IKE.MAX_HALFOPEN: expected a whole number from ..."
    std::vector<std::string> notes;    // what is odd, but taken: numbers out of their bounds
};

// Reads all of the text, or nothing; names every problem. Secrets get into no text.
ReadConfiguration readConfiguration(std::string_view text);

} // namespace panelkitd
