// SPDX-License-Identifier: MIT
#include <panelctl/config/config_json.h>

#include <panelctl/base/say.h>

#include <vocabulary/parameters.h>

#include <nlohmann/json.hpp>

namespace panelctl {

using nlohmann::ordered_json;
using panelkit::ValueForm;

// ---- to JSON

ordered_json valueToJson(const SectionValue& value, bool reveal) {
    if (value.isSecret()) return shown(value, reveal);
    return ordered_json::parse(value.json());
}

ordered_json parameterToJson(const SectionValue& value, bool reveal) {
    const auto& [section, param, stored] = value;
    const std::string standard = panelkit::kindOf(*param).defaultOf(*param);
    return {{"schema", 1},
            {"name", nameOf(value)},
            {"section", section->name},
            {"key", param->key},
            {"kind", panelkit::kindOf(*param).name},
            {"label", param->label},
            {"value", valueToJson(value, reveal)},
            {"text", shown(value, reveal)},
            {"default", valueToJson({section, param, standard}, reveal)},
            {"isDefault", value.isDefault()},
            {"secret", value.isSecret()}};
}

void describeInJson(ordered_json& record, const SectionValue& value) {
    const Param& param = *value.param;
    const panelkit::ParamKind& kind = panelkit::kindOf(param);
    const vocabulary::ParameterEffect* const effect = vocabulary::parameterEffect(nameOf(value));
    record["help"] = param.help;
    auto& users = record["actsOnIt"] = ordered_json::array();
    if (effect && effect->user != vocabulary::ParameterUser::charon) users.push_back("service");
    if (effect && effect->user != vocabulary::ParameterUser::service) users.push_back("charon");
    record["effect"] = effectText(value);
    record["legal"] = panelkit::legalValues(param);
    if (const auto bounds = kind.bounds(param)) {
        record["minimum"] = bounds->min;
        record["maximum"] = bounds->max;
    }
    if (const LPARAMS::Variant* row = kind.choices(param)) {
        auto& rows = record["variants"] = ordered_json::array();
        for (; row->text; ++row) {
            rows.push_back({{"value", row->value}});
            if (row->name) rows.back()["name"] = row->name;
            rows.back()["text"] = *row->text;
        }
    }
}

ordered_json changesToJson(const std::vector<Change>& changes, bool reveal) {
    auto list = ordered_json::array();
    for (const auto& [from, to] : changes) {
        list.push_back({{"name", nameOf(to)},
                        {"section", to.section->name},
                        {"key", to.param->key},
                        {"from", valueToJson(from, reveal)},
                        {"to", valueToJson(to, reveal)}});
    }
    return list;
}

// ---- from JSON

namespace {

std::string jsonFormOf(const Param& param) {
    switch (panelkit::kindOf(param).form) {
    case ValueForm::flag: return say("true or false");
    case ValueForm::number: return say("an integer");
    case ValueForm::choice: return say("a number, a symbolic name in quotes, or {\"value\": NUMBER, \"name\": NAME}");
    case ValueForm::gateways:
        return say("a list of objects with the texts GATE_ADDRESS, CERT_SUBJECT and DST_SELECTOR");
    default: return say("a text in quotes");
    }
}

} // namespace

void setFromJson(SectionBody& body, std::size_t index, const platform::json::Value& json) {
    const SectionValue value = body[index];
    if (json.text == secretMask && value.isSecret()) throw maskGiven(value);
    try {
        if (const auto error = body.enterJson(index, json)) throw illegal(value, *error);
    } catch (const panelkit::JsonMisfit&) {
        const std::string given = value.isSecret() ? secretMask : platform::json::print(json);
        throw CommandError(Exit::badInput, say("%s: %s is not a valid value; JSON needs %s", nameOf(value), given,
                                               jsonFormOf(*value.param)));
    }
}

} // namespace panelctl
