// SPDX-License-Identifier: MIT
//
// Where the keys of a JSON text stand, so that a mistake in a file that people edit is told with its line.
#pragma once

#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

namespace panelkitd {

// A text that is no JSON, has a key twice in one object, or nests deeper than any file of ours; the text says where.
class JsonError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The line, from 1 on, of each key: "sections.IKE.MAX_HALFOPEN", "sections.USER.LSP_GATES[0].GATE_ADDRESS". Throws
// JsonError.
std::map<std::string, int> findLines(std::string_view text);

} // namespace panelkitd
