// SPDX-License-Identifier: MIT
#include <panelctl/config/config_json.h>

#include <panelctl/say.h>

#include <panelkit/lparams/param_visit.h>
#include <platform/system/wipe.h>

#include <nlohmann/json.hpp>

#include <optional>

namespace panelctl {

using namespace LPARAMS::Client;
using nlohmann::ordered_json;
using panelkit::Overloaded;
using panelkit::TextForm;

// ---- to JSON

namespace {

ordered_json choice(const LPARAMS::Variant* table, int value) {
    ordered_json both{{"value", value}};
    const LPARAMS::Variant* const row = panelkit::findVariant(table, value);
    if (row && row->name) both["name"] = row->name;
    return both;
}

ordered_json gateways(const ParamVector<LSP_GATE>& gates) {
    auto list = ordered_json::array();
    for (const auto& gate : gates.items) {
        ordered_json fields;
        for (const Param* field : gate->params) fields[field->key] = panelkit::printParam(*field);
        list.push_back(std::move(fields));
    }
    return list;
}

const char* kindOf(const Param& param) {
    return panelkit::visitParam(param, Overloaded{
                                           [](const BoolParam&) { return "flag"; },
                                           [](const PortParam&) { return "port"; },
                                           [](const UIntParam&) { return "number"; },
                                           [](const EnumParam&) { return "choice"; },
                                           [](const AddrParam&) { return "address"; },
                                           [](const CPUsParam&) { return "processors"; },
                                           [](const QcdSParam&) { return "qcd-secret"; },
                                           [](const TimeParam&) { return "time"; },
                                           [](const ParamVector<LSP_GATE>&) { return "gateways"; },
                                           [](const StStParam&) { return "text"; },
                                       });
}

} // namespace

ordered_json valueToJson(const ParamGroup& group, const Param& param, bool reveal) {
    using panelkit::printParam;
    if (panelkit::isSecret(group.name, param.key)) return shown(group, param, reveal);
    return panelkit::visitParam(
        param, Overloaded{
                   [](const BoolParam& flag) -> ordered_json { return flag.value; },
                   [](const PortParam& port) -> ordered_json { return port.value; },
                   [](const UIntParam& number) -> ordered_json { return number.value; },
                   [](const EnumParam& one) { return choice(one.variants, one.value); },
                   [](const ParamVector<LSP_GATE>& gates) { return gateways(gates); },
                   [](const Param& other) -> ordered_json { return printParam(other, TextForm::stored); },
               });
}

ordered_json parameterToJson(const ParamGroup& group, const Param& param, bool reveal) {
    const Place standard = catalogue().find(group.name, param.key);
    return {{"schema", 1},
            {"name", nameOf(group, param)},
            {"section", group.name},
            {"key", param.key},
            {"kind", kindOf(param)},
            {"label", param.label},
            {"value", valueToJson(group, param, reveal)},
            {"text", shown(group, param, reveal)},
            {"default", valueToJson(*standard.group, *standard.param, reveal)},
            {"isDefault", sameValue(param, *standard.param)},
            {"secret", panelkit::isSecret(group.name, param.key)}};
}

void describeInJson(ordered_json& record, const Param& param) {
    record["help"] = param.help;
    record["legal"] = panelkit::legalValues(param);
    panelkit::visitParam(param, Overloaded{
                                    [&]<class T, int type>(const NumericParam<T, type>& number) {
                                        record["minimum"] = number.minValue;
                                        record["maximum"] = number.maxValue;
                                    },
                                    [&](const EnumParam& one) {
                                        auto& rows = record["variants"] = ordered_json::array();
                                        for (const auto* row = one.variants; row->text; ++row) {
                                            rows.push_back(choice(one.variants, row->value));
                                            rows.back()["text"] = *row->text;
                                        }
                                    },
                                    [](const Param&) {},
                                });
}

ordered_json changesToJson(const std::vector<Change>& changes, bool reveal) {
    auto list = ordered_json::array();
    for (const Change& change : changes) {
        list.push_back({{"name", nameOf(*change.group, *change.to)},
                        {"section", change.group->name},
                        {"key", change.to->key},
                        {"from", valueToJson(*change.group, *change.from, reveal)},
                        {"to", valueToJson(*change.group, *change.to, reveal)}});
    }
    return list;
}

// ---- from JSON

namespace {

// "1 NATT_POLICY_STD", as files of any kind have it.
std::optional<std::string> choiceText(const ordered_json& value) {
    if (value.is_number_integer()) return value.dump();
    if (value.is_string()) return value.get<std::string>();
    if (!value.is_object() || !value.contains("value") || !value["value"].is_number_integer()) return std::nullopt;
    if (value.size() == 1) return value["value"].dump();
    if (value.size() != 2 || !value.contains("name") || !value["name"].is_string()) return std::nullopt;
    return value["value"].dump() + ' ' + value["name"].get<std::string>();
}

std::optional<std::string> integerText(const ordered_json& value) {
    if (value.is_number_integer()) return value.dump();
    return std::nullopt;
}

// The text that stands for the value; nothing when JSON of this type does not.
std::optional<std::string> textOf(const Param& param, const ordered_json& value) {
    using Text = std::optional<std::string>;
    return panelkit::visitParam(param, Overloaded{
                                           [&](const BoolParam&) -> Text {
                                               if (!value.is_boolean()) return std::nullopt;
                                               return value.get<bool>() ? "on" : "off";
                                           },
                                           [&](const PortParam&) { return integerText(value); },
                                           [&](const UIntParam&) { return integerText(value); },
                                           [&](const EnumParam&) { return choiceText(value); },
                                           [&](const Param&) -> Text {
                                               if (!value.is_string()) return std::nullopt;
                                               return value.get<std::string>();
                                           },
                                       });
}

// False when the JSON is no list of gateways.
bool readGateway(LSP_GATE& gate, const ordered_json& fields) {
    if (!fields.is_object()) return false;
    for (const auto& [key, value] : fields.items()) {
        Param* const field = panelkit::findParam(gate, key);
        if (!field || key != field->key || !value.is_string()) return false;
        static_cast<StStParam*>(field)->value = value.get<std::string>();
    }
    return true;
}

bool readGateways(ParamVector<LSP_GATE>& gates, const ordered_json& list) {
    if (!list.is_array()) return false;
    std::vector<std::unique_ptr<LSP_GATE>> items;
    for (const ordered_json& fields : list) {
        if (!readGateway(*items.emplace_back(std::make_unique<LSP_GATE>()), fields)) return false;
    }
    gates.items = std::move(items);
    return true;
}

std::string jsonFormOf(const Param& param) {
    return panelkit::visitParam(
        param, Overloaded{
                   [](const BoolParam&) { return say("true or false"); },
                   [](const PortParam&) { return say("an integer"); },
                   [](const UIntParam&) { return say("an integer"); },
                   [](const EnumParam&) {
                       return say("a number, a symbolic name in quotes, or {\"value\": NUMBER, \"name\": NAME}");
                   },
                   [](const ParamVector<LSP_GATE>&) {
                       return say("a list of objects with the texts GATE_ADDRESS, CERT_SUBJECT and DST_SELECTOR");
                   },
                   [](const Param&) { return say("a text in quotes"); },
               });
}

} // namespace

void setFromJson(ParamGroup& group, Param& param, const ordered_json& value) {
    if (auto* const gates = dynamic_cast<ParamVector<LSP_GATE>*>(&param)) {
        if (readGateways(*gates, value)) return;
    } else if (auto text = textOf(param, value)) {
        const platform::WipeOnExit wiped(*text); // it may be a secret
        return setFromText(group, param, *text, TextForm::stored);
    }
    const bool isSecret = panelkit::isSecret(group.name, param.key);
    const std::string given =
        isSecret ? secretMask : value.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
    throw CommandError(Exit::badInput, say("%s: %s is not a valid value; JSON needs %s", nameOf(group, param), given,
                                           jsonFormOf(param)));
}

} // namespace panelctl
