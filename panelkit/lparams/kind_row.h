// SPDX-License-Identifier: MIT
//
// How the row of a kind (param_kind.h) is made. Each kind has a few functions that work on its C++ value; row() makes
// the row's functions from them, which work on bytes. Internal to the parameters.
#pragma once

#include <panelkit/bridge/command_stream.h>
#include <panelkit/lparams/param_kind.h>

#include <platform/system/wipe.h>

#include <charconv>
#include <type_traits>
#include <utility>

namespace panelkit {

// The error for a text that is not legal, and a text to show, masked when the parameter is a secret.
ParamError errorFor(const LPARAMS::Client::ParamGroup& group, const LPARAMS::Client::Param& param,
                    std::string_view illegalText, TextForm form);
std::string maskSecret(const LPARAMS::Client::ParamGroup& group, const LPARAMS::Client::Param& param, std::string text);

bool isQcdSecret(std::string_view text); // what QcdSParam::checkFormat says

} // namespace panelkit

namespace panelkit::kinds {

namespace json = platform::json;
using LPARAMS::Client::Param;
using std::string_view;

// All of `text` as a decimal number of the type, a minus sign allowed where the type has one.
template <class Integer>
std::optional<Integer> readDecimal(string_view text) {
    Integer number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end) return std::nullopt;
    return number;
}

// An integer of the type. A number that the type can't hold has the right JSON type, but is not legal.
template <class Integer>
Integer readInteger(const json::Value& value) {
    if (const auto number = value.number<Integer>()) return *number;
    const std::string expected = "expected a whole number from " + std::to_string(std::numeric_limits<Integer>::min()) +
                                 " to " + std::to_string(std::numeric_limits<Integer>::max());
    if (value.kind == json::Kind::integer) throw JsonMisfit(expected, json::print(value));
    throw JsonMisfit(expected);
}

template <class Value>
std::string encoded(const Value& value) {
    std::string bytes;
    CommandStreamOut(bytes).append(value);
    return bytes;
}

// A text is a view of the bytes, so that no copies of secrets are made.
template <class Value>
Value decoded(string_view bytes) {
    CommandStreamIn in(bytes.data(), bytes.size());
    if constexpr (std::is_same_v<Value, string_view>) {
        return in.readView();
    } else {
        Value value{};
        in >> value;
        return value;
    }
}

// The default functions of a kind. A kind derives from it, replaces what is different, and adds code, name, valueForm
// and
//
//   std::string print(const P&, const V&, TextForm)
//   std::optional<V> parse(const P&, string_view text, TextForm)
//   std::string legal(const P&, TextForm)
//   void printJson(const P&, string_view stored, std::string& to)
//   std::string readJson(const P&, const json::Value&, JsonRules)
template <class P, class V>
struct Common {
    using Class = P;
    using Value = V;

    static constexpr bool hasFormat = false;
    static constexpr const char* pattern = nullptr;

    static V live(const P& param) { return param.value; }
    static V standard(const P& param) { return param.defValue; }
    static void set(P& param, V value) { param.value = value; }
    static std::size_t roomFor(const P&) { return sizeof(V); }
    static void skip(platform::StreamIn& body) { body.skip(sizeof(V)); }

    static bool isLegal(const P&, const V&) { return true; }
    static std::string nearest(const P&, string_view, TextForm) { return {}; }
    static std::optional<NumberBounds> bounds(const P&) { return std::nullopt; }
    static const LPARAMS::Variant* choices(const P&) { return nullptr; }

    static constexpr std::string (*valueIn)(string_view) = nullptr;
    static constexpr std::string (*storedWith)(string_view, string_view) = nullptr;
    static constexpr bool (*isWord)(string_view) = nullptr;
    static constexpr bool (*isLeftToService)(string_view) = nullptr;
};

// The row's functions for a kind's class and its C++ value.
template <class K>
struct Functions {
    using P = typename K::Class;
    using V = typename K::Value;

    static const P& as(const Param& param) { return static_cast<const P&>(param); }

    static std::string valueOf(const Param& param) { return encoded(K::live(as(param))); }
    static std::string defaultOf(const Param& param) { return encoded(K::standard(as(param))); }
    static void assign(Param& param, string_view value) { K::set(static_cast<P&>(param), decoded<V>(value)); }
    static std::size_t roomFor(const Param& param) { return K::roomFor(as(param)); }

    static std::optional<NumberBounds> bounds(const Param& param) { return K::bounds(as(param)); }
    static const LPARAMS::Variant* choices(const Param& param) { return K::choices(as(param)); }
    static std::string legal(const Param& param, TextForm form) { return K::legal(as(param), form); }
    static std::string nearest(const Param& param, string_view text, TextForm form) {
        return K::nearest(as(param), text, form);
    }

    static std::string print(const Param& param, string_view value, TextForm form) {
        return K::print(as(param), decoded<V>(value), form);
    }
    static std::optional<std::string> read(const Param& param, string_view text, TextForm form) {
        const std::optional<V> value = K::parse(as(param), text, form);
        return value && K::isLegal(as(param), *value) ? std::optional(encoded(*value)) : std::nullopt;
    }

    static void printJson(const Param& param, string_view stored, std::string& to) {
        K::printJson(as(param), stored, to);
    }
    static std::string readJson(const Param& param, const json::Value& json, JsonRules rules) {
        std::string value = K::readJson(as(param), json, rules);
        if (rules == JsonRules::stored || K::isLegal(as(param), decoded<V>(value))) return value;
        const platform::WipeOnExit wiped(value);
        throw JsonMisfit("not legal; legal: " + legal(param, TextForm::stored), print(param, value, TextForm::stored));
    }
};

template <class K>
constexpr ParamKind row() {
    using F = Functions<K>;
    return {.code = K::code,
            .name = K::name,
            .form = K::valueForm,
            .hasFormat = K::hasFormat,
            .pattern = K::pattern,
            .valueOf = F::valueOf,
            .defaultOf = F::defaultOf,
            .assign = F::assign,
            .roomFor = F::roomFor,
            .bounds = F::bounds,
            .choices = F::choices,
            .legal = F::legal,
            .nearest = F::nearest,
            .print = F::print,
            .read = F::read,
            .printJson = F::printJson,
            .readJson = F::readJson,
            .skip = K::skip,
            .valueIn = K::valueIn,
            .storedWith = K::storedWith,
            .isWord = K::isWord,
            .isLeftToService = K::isLeftToService};
}

// A text as JSON; gateways use these too: a string, or {"hex": "C3A9"} where it is not UTF-8.
void printText(string_view text, std::string& to);
std::string readText(const json::Value& value, JsonRules rules); // in stream form

// Null for a parameter of a front end's own kind.
const ParamKind* find(const Param& param);

// The rows; each is defined in the file of its kind.
extern const ParamKind flagKind, portKind, numberKind, choiceKind, textKind, addressKind, processorsKind, qcdSecretKind,
    timeKind, gatewaysKind;

} // namespace panelkit::kinds
