// SPDX-License-Identifier: MIT
#include <service/config/value_json.h>

#include <panelkit/format/hex_text.h>
#include <panelkit/lparams/param_visit.h>
#include <panelkit/lparams/value_text.h>

#include <platform/system/little_endian.h>
#include <platform/system/utf8_character.h>

#include <nlohmann/json.hpp>

#include <limits>
#include <utility>

namespace panelkitd {

using namespace LPARAMS::Client;
using nlohmann::json;
using panelkit::Overloaded;
using std::string_view;

namespace {

// ---- printing

template <class Integer>
Integer number(string_view bytes) {
    return platform::loadLittleEndian<Integer>(bytes.data());
}

constexpr std::string_view hexDigits = "0123456789ABCDEF";

void printText(string_view bytes, std::string& text) {
    if (!platform::isValidUtf8(bytes)) {
        text += R"({"hex": ")";
        panelkit::appendHex(bytes, text);
        text += "\"}";
        return;
    }
    text += '"';
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            text += {'\\', c};
        } else if (byte < 0x20 || byte == 0x7F) {
            text += {'\\', 'u', '0', '0', hexDigits[byte >> 4], hexDigits[byte & 15]};
        } else {
            text += c;
        }
    }
    text += '"';
}

std::string flagText(string_view bytes) {
    const auto byte = static_cast<unsigned char>(bytes[0]);
    return byte > 1 ? std::to_string(byte) : byte == 1 ? "true" : "false";
}

void printChoice(const EnumParam& param, std::int32_t value, std::string& text) {
    const LPARAMS::Variant* row = panelkit::findVariant(param.variants, value);
    text += R"({"value": )" + std::to_string(value);
    if (row && row->name) {
        text += R"(, "name": )";
        printText(row->name, text);
    }
    text += '}';
}

void printGateways(const Shapes& shapes, string_view bytes, std::string& text) {
    const char* separator = "";
    text += '[';
    for (const auto& gateway : shapes.cutGateways(bytes)) {
        text += std::exchange(separator, ", ");
        const char* before = "{\"";
        for (const Value& value : gateway) {
            text += std::string(std::exchange(before, ", \"")) + value.param->key + "\": ";
            printValue(shapes, value, text);
        }
        text += '}';
    }
    text += ']';
}

// ---- reading

template <class Integer>
void append(std::string& body, Integer value) {
    body.resize(body.size() + sizeof value);
    platform::storeLittleEndian(body.data() + body.size() - sizeof value, value);
}

void appendText(std::string& body, string_view text) {
    append(body, static_cast<std::uint32_t>(text.size()));
    body += text;
}

template <class Integer>
Integer readNumber(const json& value) {
    constexpr Integer least = std::numeric_limits<Integer>::min(), most = std::numeric_limits<Integer>::max();
    const bool positive = value.is_number_unsigned() && value.get<std::uint64_t>() <= std::uint64_t{most};
    const bool negative = value.is_number_integer() && !value.is_number_unsigned() &&
                          value.get<std::int64_t>() >= std::int64_t{least} && value.get<std::int64_t>() < 0;
    if (positive || negative) return value.get<Integer>();
    throw ValueError("expected a whole number from " + std::to_string(least) + " to " + std::to_string(most));
}

char readFlag(const json& value) {
    if (value.is_boolean()) return value.get<bool>() ? 1 : 0;
    if (value.is_number_unsigned() && value.get<std::uint64_t>() <= 255) {
        return static_cast<char>(value.get<std::uint8_t>());
    }
    throw ValueError("expected true or false");
}

std::string readHex(const std::string& digits) {
    const auto digit = [](char c) { return hexDigits.find(c); };
    std::string bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        const std::size_t high = digit(digits[i]), low = digit(digits[i + 1]);
        if (high == string_view::npos || low == string_view::npos) break;
        bytes += static_cast<char>(high << 4 | low);
    }
    if (bytes.size() * 2 == digits.size()) return bytes;
    throw ValueError("expected an even number of the digits 0123456789ABCDEF behind \"hex\"");
}

std::string readText(const json& value) {
    if (value.is_string()) return value.get<std::string>();
    if (value.is_object() && value.size() == 1 && value.contains("hex") && value["hex"].is_string()) {
        return readHex(value["hex"].get_ref<const std::string&>());
    }
    throw ValueError("expected a text in quotes");
}

std::string choices(const LPARAMS::Variant* table) {
    std::string list;
    for (const LPARAMS::Variant* row = table; row->text; ++row) {
        list += (list.empty() ? "" : ", ") + std::to_string(row->value);
        if (row->name) list += ' ' + std::string(row->name);
    }
    return list;
}

std::int32_t readChoiceName(const EnumParam& param, const json& name) {
    for (const LPARAMS::Variant* row = param.variants; name.is_string() && row->text; ++row) {
        if (row->name && name.get_ref<const std::string&>() == row->name) return row->value;
    }
    throw ValueError("expected one of: " + choices(param.variants));
}

std::int32_t readChoice(const EnumParam& param, const json& value) {
    if (value.is_number()) return readNumber<std::int32_t>(value);
    if (!value.is_object()) return readChoiceName(param, value);
    if (!value.contains("value") || value.size() > 1U + value.contains("name")) {
        throw ValueError(R"(expected {"value": NUMBER, "name": "NAME"})");
    }
    const auto chosen = readNumber<std::int32_t>(value["value"]);
    if (value.contains("name") && readChoiceName(param, value["name"]) != chosen) {
        throw ValueError(R"("value" and "name" are not the same choice; expected one of: )" + choices(param.variants));
    }
    return chosen;
}

std::int64_t readTime(const json& value) {
    const auto seconds =
        value.is_string() ? panelkit::readTimeOfDay(value.get_ref<const std::string&>()) : std::nullopt;
    if (!seconds) throw ValueError("expected a time of day, such as \"10:00:00\"");
    return *seconds;
}

void readGateways(const Shapes& shapes, const json& value, std::string& body) {
    if (!value.is_array()) throw ValueError("expected a list of gateways in brackets");
    append(body, static_cast<std::uint32_t>(value.size()));
    const auto& fields = shapes.gateway().params;
    for (const json& gateway : value) {
        if (!gateway.is_object() || gateway.size() != fields.size()) {
            throw ValueError("expected GATE_ADDRESS, CERT_SUBJECT and DST_SELECTOR for each gateway, and nothing else");
        }
        for (const Param* field : fields) {
            if (!gateway.contains(field->key)) throw ValueError("a gateway has no " + std::string(field->key));
            readValue(shapes, *field, gateway[field->key], body);
        }
    }
}

} // namespace

void printValue(const Shapes& shapes, const Value& value, std::string& text) {
    const string_view bytes = value.bytes;
    panelkit::visitParam(
        *value.param,
        Overloaded{
            [&](const BoolParam&) { text += flagText(bytes); },
            [&](const PortParam&) { text += std::to_string(number<std::uint16_t>(bytes)); },
            [&](const UIntParam&) { text += std::to_string(number<std::uint32_t>(bytes)); },
            [&](const EnumParam& choice) { printChoice(choice, number<std::int32_t>(bytes), text); },
            [&](const TimeParam&) { printText(panelkit::printTimeOfDay(number<std::int64_t>(bytes)), text); },
            [&](const ParamVector<LSP_GATE>&) { printGateways(shapes, bytes, text); },
            [&](const auto& /* texts */) { printText(bytes.substr(sizeof(std::uint32_t)), text); },
        });
}

// A character may take six; of a gateway, which has twelve bytes at least, the names are longest.
std::size_t roomFor(const Value& value) { return 100 + 12 * value.bytes.size(); }

void readValue(const Shapes& shapes, const Param& param, const json& value, std::string& body) {
    panelkit::visitParam(param, Overloaded{
                                    [&](const BoolParam&) { body += readFlag(value); },
                                    [&](const PortParam&) { append(body, readNumber<std::uint16_t>(value)); },
                                    [&](const UIntParam&) { append(body, readNumber<std::uint32_t>(value)); },
                                    [&](const EnumParam& choice) { append(body, readChoice(choice, value)); },
                                    [&](const TimeParam&) { append(body, readTime(value)); },
                                    [&](const ParamVector<LSP_GATE>&) { readGateways(shapes, value, body); },
                                    [&](const auto& /* texts */) { appendText(body, readText(value)); },
                                });
}

} // namespace panelkitd
