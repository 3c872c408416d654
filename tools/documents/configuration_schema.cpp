// SPDX-License-Identifier: MIT
//
// The JSON Schema of a configuration, {"SECTION": {"KEY": value}}. Sections and keys may be left out, and so may
// "schema", the version of this form.
#include <tools/documents/documents.h>

#include <panelkit/lparams/param_kind.h>
#include <panelkit/lparams/sections/sections.h>

#include <nlohmann/json.hpp>

#include <algorithm>

namespace documents {

namespace {

using LPARAMS::Variant;
using LPARAMS::Client::Param;
using LPARAMS::Client::ParamGroup;
using nlohmann::ordered_json;
using panelkit::ValueForm;

// ---- variant tables

ordered_json variants(const Variant* table) {
    auto numbers = ordered_json::array(), names = ordered_json::array();
    std::string meanings;
    for (const Variant* row = table; row->text; ++row) {
        numbers.push_back(row->value);
        if (row->name) names.push_back(row->name);
        meanings += (meanings.empty() ? "" : "; ") + std::to_string(row->value) + ' ' + *row->text;
    }
    const ordered_json number{{"enum", numbers}}, name{{"enum", names}};
    const ordered_json both{{"type", "object"},
                            {"properties", {{"value", number}, {"name", name}}},
                            {"required", {"value"}},
                            {"additionalProperties", false}};
    return {{"description", meanings}, {"anyOf", {number, name, both}}};
}

std::string reference(const Variant* rows) {
    const auto tables = panelkit::variantTables();
    const auto place =
        std::find_if(tables.begin(), tables.end(), [&](const auto& table) { return table.rows == rows; });
    return "#/$defs/" + std::string(place->name);
}

// ---- parameters

ordered_json gateway() {
    ordered_json fields;
    for (const Param* param : panelkit::gatewayFields().params) fields[param->key] = {{"type", "string"}};
    return {{"type", "object"}, {"properties", fields}, {"additionalProperties", false}};
}

// The schema of the values, without the default.
ordered_json valueOf(const Param& param, const panelkit::ParamKind& kind) {
    switch (kind.form) {
    case ValueForm::flag: return {{"type", "boolean"}};
    case ValueForm::number: {
        const auto bounds = kind.bounds(param);
        return {{"type", "integer"}, {"minimum", bounds->min}, {"maximum", bounds->max}};
    }
    case ValueForm::choice: return {{"$ref", reference(kind.choices(param))}};
    case ValueForm::gateways: return {{"type", "array"}, {"items", gateway()}};
    case ValueForm::text:
    case ValueForm::time: break;
    }
    ordered_json text{{"type", "string"}};
    if (kind.pattern) text["pattern"] = kind.pattern;
    return text;
}

ordered_json defaultOf(const Param& param, const panelkit::ParamKind& kind) {
    std::string text;
    kind.printJson(param, kind.defaultOf(param), text);
    ordered_json value = ordered_json::parse(text);
    return kind.form == ValueForm::choice ? value["value"] : value;
}

// The help, and the legal values if the schema can't say them.
std::string describe(const Param& param, const panelkit::ParamKind& kind) {
    std::string help = &param.help == &param.label ? "" : param.help;
    if (!kind.hasFormat || kind.pattern) return help;
    return help + (help.empty() ? "" : "; ") + panelkit::legalValues(param);
}

ordered_json parameter(const ParamGroup& group, const Param& param) {
    const panelkit::ParamKind& kind = panelkit::kindOf(param);
    ordered_json schema;
    if (*param.label) schema["title"] = param.label;
    if (const std::string description = describe(param, kind); !description.empty())
        schema["description"] = description;
    schema.update(valueOf(param, kind));
    schema["default"] = defaultOf(param, kind);
    if (panelkit::isSecret(group.name, param.key)) schema["writeOnly"] = true;
    return schema;
}

ordered_json section(const ParamGroup& group) {
    ordered_json keys;
    for (const Param* param : group.params) keys[param->key] = parameter(group, *param);
    return {{"type", "object"}, {"properties", keys}, {"additionalProperties", false}};
}

} // namespace

std::string configurationSchema() {
    ordered_json sections{{"$schema", {{"type", "string"}}}, {"schema", {{"const", 1}}}}, tables;
    for (const auto& group : panelkit::allGroups()) sections[group->name] = section(*group);
    for (const auto& table : panelkit::variantTables()) tables[table.name] = variants(table.rows);
    const ordered_json schema{
        {"$schema", "https://json-schema.org/draft/2020-12/schema"},
        {"title", "panelkit configuration"},
        {"description", "Made by panelkit_documents from the library's model; do not edit."},
        {"type", "object"},
        {"properties", sections},
        {"additionalProperties", false},
        {"$defs", tables},
    };
    return schema.dump(2) + '\n';
}

} // namespace documents
