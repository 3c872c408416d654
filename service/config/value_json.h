// SPDX-License-Identifier: MIT
//
// Values of parameters as JSON, without loss: whatever bytes a body may hold come back the same.
//
//   kind         JSON
//   BoolParam    true, false; a byte that is neither as its number
//   numbers      the number
//   EnumParam    {"value": 1, "name": "IKE2_FRAGM_AUTO"}; read too: the number or the name alone
//   texts        a string; {"hex": "C3A9"} where the bytes are no UTF-8
//   QcdSParam    likewise: the history, newest first, parted by ":"
//   TimeParam    "10:00:00"; seconds, "90000s", where it is no time of day
//   ParamVector  a list of objects, one a gateway
#pragma once

#include <service/config/shapes.h>

#include <nlohmann/json_fwd.hpp>

#include <stdexcept>
#include <string>

namespace panelkitd {

// JSON that is no value of the parameter; the text says what is.
class ValueError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Appends the JSON text of a value, on one line. A text with room for it holds no second copy of a secret afterwards.
void printValue(const Shapes& shapes, const Value& value, std::string& text);

// At most so many characters print the value.
std::size_t roomFor(const Value& value);

// Appends the bytes of a value to a body. Throws ValueError. Bounds are not checked: front ends may have written, and
// the service kept, what is out of them.
void readValue(const Shapes& shapes, const LPARAMS::Client::Param& param, const nlohmann::json& value,
               std::string& body);

} // namespace panelkitd
