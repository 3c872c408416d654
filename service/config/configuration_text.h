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
// A section that is not there has its defaults; one that is there has all its parameters. Values: value_json.h.
#pragma once

#include <service/config/shapes.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace panelkitd {

std::string printConfiguration(const Shapes& shapes, const Bodies& bodies);

struct ReadConfiguration {
    std::optional<Bodies> bodies;      // when there are no problems
    std::vector<std::string> problems; // "line 12: IKE.MAX_HALFOPEN: expected a whole number from ..."
    std::vector<std::string> notes;    // what is odd, but taken: numbers out of their bounds
};

// Reads all of the text, or nothing; names every problem. Secrets get into no text.
ReadConfiguration readConfiguration(const Shapes& shapes, std::string_view text);

} // namespace panelkitd
