// SPDX-License-Identifier: MIT
//
// Flags, and numbers within bounds.
#include <panelkit/format/nearest.h>
#include <panelkit/lparams/kind_row.h>
#include <platform/text/ascii.h>

#include <algorithm>

namespace panelkit::kinds {

namespace {

using namespace LPARAMS::Client;

struct Flag : Common<BoolParam, bool> {
    static constexpr int code = 0;
    static constexpr const char* name = "flag";
    static constexpr ValueForm valueForm = ValueForm::flag;

    static std::string print(const BoolParam&, bool value, TextForm) { return value ? "on" : "off"; }

    static std::optional<bool> parse(const BoolParam&, string_view text, TextForm) {
        static constexpr string_view words[] = {"off", "on", "false", "true", "no", "yes", "0", "1"};
        const auto* word = std::find_if(std::begin(words), std::end(words),
                                        [&](string_view known) { return platform::equalIgnoringCase(known, text); });
        if (word == std::end(words)) return std::nullopt;
        return (word - std::begin(words)) % 2 != 0;
    }

    static std::string legal(const BoolParam&, TextForm) { return "on, off"; }
    static std::string nearest(const BoolParam&, string_view text, TextForm) {
        return panelkit::nearest(text, {"on", "off"});
    }

    static void printJson(const BoolParam&, string_view stored, std::string& to) {
        const auto byte = static_cast<unsigned char>(stored[0]);
        to += byte > 1 ? std::to_string(byte) : byte == 1 ? "true" : "false";
    }
    static std::string readJson(const BoolParam&, const json::Value& value, JsonRules rules) {
        if (value.kind == json::Kind::flag) return encoded(value.flag);
        const auto byte = value.number<std::uint8_t>();
        if (rules != JsonRules::stored || !byte) throw JsonMisfit("expected true or false");
        return std::string(1, static_cast<char>(*byte));
    }

    static std::string valueIn(string_view stored) { return encoded(decoded<bool>(stored)); }
    static std::string storedWith(string_view value, string_view) { return std::string(value); }
};

template <class P, class V>
struct Number : Common<P, V> {
    static constexpr ValueForm valueForm = ValueForm::number;

    static std::string print(const P&, V value, TextForm) { return std::to_string(value); }
    static std::optional<V> parse(const P&, string_view text, TextForm) { return readDecimal<V>(text); }

    static bool isLegal(const P& param, V value) { return value >= param.minValue && value <= param.maxValue; }
    static std::string legal(const P& param, TextForm) {
        return std::to_string(param.minValue) + ".." + std::to_string(param.maxValue);
    }
    static std::string nearest(const P& param, string_view text, TextForm) {
        if (text.empty() || text.find_first_not_of("0123456789") != string_view::npos) return {};
        const auto number = readDecimal<std::uint32_t>(text); // text of digits fails only when the number is too large
        return std::to_string(number && *number < param.minValue ? param.minValue : param.maxValue);
    }
    static std::optional<NumberBounds> bounds(const P& param) { return NumberBounds{param.minValue, param.maxValue}; }

    static void printJson(const P&, string_view stored, std::string& to) { to += std::to_string(decoded<V>(stored)); }
    static std::string readJson(const P&, const json::Value& value, JsonRules) {
        return encoded(readInteger<V>(value));
    }
};

struct Port : Number<PortParam, std::uint16_t> {
    static constexpr int code = 1;
    static constexpr const char* name = "port";
};

struct UInt : Number<UIntParam, std::uint32_t> {
    static constexpr int code = 2;
    static constexpr const char* name = "number";
};

} // namespace

constinit const ParamKind flagKind = row<Flag>();
constinit const ParamKind portKind = row<Port>();
constinit const ParamKind numberKind = row<UInt>();

} // namespace panelkit::kinds
