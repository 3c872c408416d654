// SPDX-License-Identifier: MIT
//
// The JSON Schema of a configuration, {"SECTION": {"KEY": value}}. Sections and keys may be left out, and so may
// "schema", the version of this form.
#include <tools/documents/documents.h>

#include <panelkit/lparams/param_text.h>
#include <panelkit/lparams/param_visit.h>
#include <panelkit/lparams/sections.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>
#include <utility>
#include <vector>

namespace documents {

namespace {

using namespace LPARAMS::Client;
using LPARAMS::Variant;
using panelkit::Overloaded;

// ---- JSON: values are texts, composed without regard to indentation and indented as they are nested

std::string string(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') quoted += '\\';
        quoted += c == '\n' ? "\\n" : std::string(1, c);
    }
    return quoted + '"';
}

std::string indented(const std::string& value) {
    std::string text;
    for (const char c : value) text += c == '\n' ? "\n  " : std::string(1, c);
    return text;
}

using Members = std::vector<std::pair<std::string, std::string>>;

std::string object(const Members& members) {
    std::string text = "{";
    for (const auto& [name, value] : members) {
        text += (text.size() > 1 ? ",\n  " : "\n  ") + string(name) + ": " + indented(value);
    }
    return text + "\n}";
}

std::string list(const std::vector<std::string>& values) {
    std::string text = "[";
    for (const std::string& value : values) text += (text.size() > 1 ? ", " : "") + value;
    return text + ']';
}

// ---- variant tables

std::string variants(const Variant* table) {
    std::vector<std::string> numbers, names, meanings;
    for (const Variant* row = table; row->text; ++row) {
        numbers.push_back(std::to_string(row->value));
        if (row->name) names.push_back(string(row->name));
        meanings.push_back(std::to_string(row->value) + ' ' + *row->text);
    }
    std::string description;
    for (const std::string& meaning : meanings) description += (description.empty() ? "" : "; ") + meaning;
    const std::string number = object({{"enum", list(numbers)}});
    const std::string name = object({{"enum", list(names)}});
    const std::string both = object({
        {"type", string("object")},
        {"properties", object({{"value", number}, {"name", name}})},
        {"required", list({string("value")})},
        {"additionalProperties", "false"},
    });
    return object({{"description", string(description)}, {"anyOf", list({number, name, both})}});
}

std::string reference(const Variant* rows) {
    const auto tables = panelkit::variantTables();
    const auto place =
        std::find_if(tables.begin(), tables.end(), [&](const auto& table) { return table.rows == rows; });
    return string("#/$defs/" + std::string(place->name));
}

// ---- parameters

Members text(const std::string& defValue, const char* pattern = nullptr) {
    Members members{{"type", string("string")}};
    if (pattern) members.emplace_back("pattern", string(pattern));
    members.emplace_back("default", string(defValue));
    return members;
}

Members number(const auto& param) {
    return {{"type", string("integer")},
            {"minimum", std::to_string(param.minValue)},
            {"maximum", std::to_string(param.maxValue)},
            {"default", std::to_string(param.defValue)}};
}

std::string gateway() {
    const LSP_GATE gate;
    Members fields;
    for (const Param* param : gate.params) fields.emplace_back(param->key, object({{"type", string("string")}}));
    return object({{"type", string("object")}, {"properties", object(fields)}, {"additionalProperties", "false"}});
}

Members valueOf(const Param& param) {
    return visitParam(
        param,
        Overloaded{
            [](const BoolParam& flag) {
                return Members{{"type", string("boolean")}, {"default", flag.defValue ? "true" : "false"}};
            },
            [](const PortParam& port) { return number(port); },
            [](const UIntParam& count) { return number(count); },
            [](const EnumParam& choice) {
                return Members{{"$ref", reference(choice.variants)}, {"default", std::to_string(choice.defValue)}};
            },
            [](const QcdSParam& secret) { return text(secret.defValue, "^(no|auto|([0-9absdefABCDEF]{2}){8,20})?$"); },
            [](const TimeParam& time) {
                return text(panelkit::printDefault(time), "^(([01]?[0-9]|2[0-3]):[0-5][0-9](:[0-5][0-9])?|-?[0-9]+s)$");
            },
            [](const ParamVector<LSP_GATE>&) {
                return Members{{"type", string("array")}, {"items", gateway()}, {"default", "[]"}};
            },
            [](const StStParam& plain) { return text(plain.defValue); },
        });
}

// The help, and for texts with a format what is legal.
std::string describe(const Param& param) {
    const std::string help = &param.help == &param.label ? "" : param.help;
    const auto* plain = dynamic_cast<const StStParam*>(&param);
    const bool formatted = dynamic_cast<const CPUsParam*>(plain) || dynamic_cast<const AddrParam*>(plain);
    return help + (formatted ? (help.empty() ? "" : "; ") + panelkit::legalValues(param) : "");
}

std::string parameter(const ParamGroup& group, const Param& param) {
    Members members;
    if (*param.label) members.emplace_back("title", string(param.label));
    if (const std::string help = describe(param); !help.empty()) members.emplace_back("description", string(help));
    for (auto& member : valueOf(param)) members.push_back(std::move(member));
    if (panelkit::isSecret(group.name, param.key)) members.emplace_back("writeOnly", "true");
    return object(members);
}

std::string section(const ParamGroup& group) {
    Members keys;
    for (const Param* param : group.params) keys.emplace_back(param->key, parameter(group, *param));
    return object({{"type", string("object")}, {"properties", object(keys)}, {"additionalProperties", "false"}});
}

} // namespace

std::string configurationSchema() {
    Members sections{{"$schema", object({{"type", string("string")}})}, {"schema", object({{"const", "1"}})}}, tables;
    for (const auto& group : panelkit::AllGroups()) sections.emplace_back(group->name, section(*group));
    for (const auto& table : panelkit::variantTables()) tables.emplace_back(table.name, variants(table.rows));
    return object({
               {"$schema", string("https://json-schema.org/draft/2020-12/schema")},
               {"title", string("panelkit configuration")},
               {"description", string("Made by panelkit_documents from the library's model; do not edit.")},
               {"type", string("object")},
               {"properties", object(sections)},
               {"additionalProperties", "false"},
               {"$defs", object(tables)},
           }) +
           '\n';
}

} // namespace documents
