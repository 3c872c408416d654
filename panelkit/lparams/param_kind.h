// SPDX-License-Identifier: MIT
//
// The kinds of parameters. One row holds everything that differs between kinds, and kindOf() finds it. Front ends
// choose an editor by a row's form; values are printed and read as text and as JSON by param_text.h and section_body.h.
//
//   kind         name          form      value (in stream form)    JSON
//   BoolParam    flag          flag      1 byte                    true, false
//   PortParam    port          number    2 bytes                   465
//   UIntParam    number        number    4 bytes                   90
//   EnumParam    choice        choice    4 bytes                   {"value": 1, "name": "IKE2_FRAGM_AUTO"}; read too:
//                                                                  the number or the name alone
//   StStParam    text          text      4-byte length, bytes      a string
//   AddrParam    address       text      likewise                  likewise
//   CPUsParam    processors    text      likewise                  likewise
//   QcdSParam    qcd-secret    text      likewise                  likewise
//   TimeParam    time          time      8 bytes                   "10:00:00"
//   ParamVector  gateways      gateways  4-byte count, gateways    a list of objects, one a gateway
//
// To add a kind: its functions in panelkit/lparams/kind_*.cpp, and its row in param_kind.cpp.
//
// A value is what a front end edits, in stream form. A stored value is what the body of a section holds. They differ
// for two kinds only: a stored flag may be any byte, and every byte but 1 means off; for a QCD secret the whole history
// is stored.
#pragma once

#include <panelkit/lparams/param_text.h>

#include <platform/json/json.h>
#include <platform/stream/stream.h>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace panelkit {

// How a value is edited, and what its JSON is.
enum class ValueForm : unsigned char { flag, number, choice, text, time, gateways };

// Both bounds are legal values.
struct NumberBounds {
    std::uint32_t min;
    std::uint32_t max;
};

// Where the JSON comes from, and so how strictly it is read.
enum class JsonRules : unsigned char {
    entered, // from people: legal values only
    stored,  // from a service's file: whatever a body may hold. Bounds and formats are not checked; flags may be
             // numbers up to 255, texts that are not UTF-8 are {"hex": "C3A9"}, and gateways must have all their fields
};

// Thrown when JSON is not a value of the parameter. what() says what is expected: "expected a whole number from 0 to
// 65535".
class PANELKIT_EXPORT JsonMisfit : public std::runtime_error {
public:
    explicit JsonMisfit(const std::string& expected) : std::runtime_error(expected) {}
    JsonMisfit(const std::string& expected, std::string text)
        : std::runtime_error(expected), illegalText(std::move(text)) {}

    // Set when the JSON is of the right type but its value is not legal: the value as stored text.
    std::optional<std::string> illegalText;
};

// The functions take parameters of the row's own kind, and complete values. The results may be secrets.
struct ParamKind {
    using Param = LPARAMS::Client::Param;

    int code; // Param::type(); two kinds have 6
    const char* name;
    ValueForm form;
    bool hasFormat;      // the text must have a certain format
    const char* pattern; // its format as a regular expression; null if there is none

    // ---- a parameter of a group

    std::string (*valueOf)(const Param& param);
    std::string (*defaultOf)(const Param& param);
    void (*assign)(Param& param, std::string_view value);
    std::size_t (*roomFor)(const Param& param); // save() appends at most this many bytes

    // ---- values; `param` supplies bounds or choices

    std::optional<NumberBounds> (*bounds)(const Param& param);
    const LPARAMS::Variant* (*choices)(const Param& param); // null except for choices
    std::string (*legal)(const Param& param, TextForm form);
    std::string (*nearest)(const Param& param, std::string_view illegalText, TextForm form);

    std::string (*print)(const Param& param, std::string_view value, TextForm form);
    std::optional<std::string> (*read)(const Param& param, std::string_view text, TextForm form); // legal values only

    // Appends a value or a stored value, on one line: at most maxJsonSize() characters.
    void (*printJson)(const Param& param, std::string_view stored, std::string& to);
    // Throws JsonMisfit. With the rules `stored` the result is a stored value.
    std::string (*readJson)(const Param& param, const platform::json::Value& json, JsonRules rules);

    // ---- stored values

    void (*skip)(platform::StreamIn& body);                                       // moves past one
    std::string (*valueIn)(std::string_view stored);                              // null: it is the value
    std::string (*storedWith)(std::string_view value, std::string_view formerly); // null: it is the value

    // ---- words in place of a secret; null except for a QCD secret

    bool (*isWord)(std::string_view text);            // "no" and "auto", which need not be hidden
    bool (*isLeftToService)(std::string_view stored); // asks the service to make a secret
};

// Returns the row. Throws std::invalid_argument for a parameter of another kind than those above.
PANELKIT_EXPORT const ParamKind& kindOf(const LPARAMS::Client::Param& param);

// A byte of a text may become six characters, and a gateway of twelve bytes has three names.
inline std::size_t maxJsonSize(std::string_view stored) { return 100 + 12 * stored.size(); }

} // namespace panelkit
