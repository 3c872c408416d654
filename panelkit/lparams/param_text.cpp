// SPDX-License-Identifier: MIT
#include <panelkit/lparams/param_text.h>

#include <panelkit/format/ascii_case.h>
#include <panelkit/lparams/legal_values.h>
#include <panelkit/lparams/param_visit.h>
#include <panelkit/lparams/sections.h>
#include <panelkit/lparams/value_text.h>

#include <algorithm>

namespace panelkit {

namespace {

using namespace LPARAMS::Client;
using LPARAMS::Variant;
using std::string_view;

constexpr const char* mask = "***";

// ---- printing

std::string printValue(const BoolParam&, bool value, TextForm) { return value ? "on" : "off"; }
std::string printValue(const PortParam&, unsigned short value, TextForm) { return std::to_string(value); }
std::string printValue(const UIntParam&, unsigned int value, TextForm) { return std::to_string(value); }
std::string printValue(const StStParam&, const std::string& value, TextForm) { return value; }
std::string printValue(const QcdSParam&, const std::string& value, TextForm) { return value; }
std::string printValue(const TimeParam&, std::int64_t value, TextForm) { return printTimeOfDay(value); }

std::string printValue(const EnumParam& param, int value, TextForm form) {
    return printChoice(findVariant(param.variants, value), value, form);
}

std::string printGates(const ParamVector<LSP_GATE>& param) {
    std::vector<Gateway> gateways;
    for (const auto& gate : param.items) {
        gateways.push_back({gate->GATE_ADDRESS.value, gate->CERT_SUBJECT.value, gate->DST_SELECTOR.value});
    }
    return printGateways(gateways);
}

// ---- reading: false when the text is not legal, the value then being untouched

template <class T>
bool assign(T& value, const std::optional<T>& read) {
    if (read) value = *read;
    return read.has_value();
}

bool readValue(BoolParam& param, string_view text, TextForm) {
    static constexpr string_view words[] = {"off", "on", "false", "true", "no", "yes", "0", "1"};
    const auto* word = std::find_if(std::begin(words), std::end(words),
                                    [&](string_view known) { return equalIgnoringCase(known, text); });
    if (word == std::end(words)) return false;
    param.value = (word - std::begin(words)) % 2 != 0;
    return true;
}

template <class T, int TypeCode>
bool readValue(NumericParam<T, TypeCode>& param, string_view text, TextForm) {
    const std::optional<T> number = readDecimal<T>(text);
    return number && *number >= param.minValue && *number <= param.maxValue && assign(param.value, number);
}

bool readNumber(EnumParam& param, string_view text) {
    const std::optional<int> number = readDecimal<int>(text);
    return number && findVariant(param.variants, *number) && assign(param.value, number);
}

const Variant* rowNamed(const Variant* table, string_view name) {
    for (const Variant* row = table; row->text; ++row) {
        if (row->name && name == row->name) return row;
    }
    return nullptr;
}

// "1", "IKE2_FRAGM_AUTO", or both, which must then agree.
bool readStored(EnumParam& param, string_view text) {
    const std::size_t blank = text.find(' ');
    if (blank == string_view::npos && readNumber(param, text)) return true;
    const Variant* row = rowNamed(param.variants, text.substr(blank + 1));
    if (!row || (blank != string_view::npos && readDecimal<int>(text.substr(0, blank)) != row->value)) return false;
    param.value = row->value;
    return true;
}

int valueOutside(const Variant* table) {
    int value = -1;
    while (findVariant(table, value)) --value;
    return value;
}

bool readValue(EnumParam& param, string_view text, TextForm form) {
    if (form == TextForm::stored) return readStored(param, text);
    if (text.starts_with('=')) return readNumber(param, text.substr(1));
    if (text.find('\0') != string_view::npos) return false;
    const int none = valueOutside(param.variants);
    const int value = param.variants->getValue(std::string(text).c_str(), none);
    if (value == none) return false;
    param.value = value;
    return true;
}

bool readValue(StStParam& param, string_view text, TextForm) {
    param.value = text;
    return true;
}

bool readValue(AddrParam& param, string_view text, TextForm) {
    if (!text.empty() && !isHost(text)) return false;
    param.value = text;
    return true;
}

bool readValue(CPUsParam& param, string_view text, TextForm) {
    if (!CPUsParam::checkFormat(std::string(text))) return false;
    param.value = text;
    return true;
}

bool readValue(QcdSParam& param, string_view text, TextForm) {
    const bool word = text.empty() || text == "no" || text == "auto";
    if (!word && !QcdSParam::checkFormat(std::string(text))) return false;
    param.value = text;
    return true;
}

bool readValue(TimeParam& param, string_view text, TextForm) { return assign(param.value, readTimeOfDay(text)); }

bool readValue(ParamVector<LSP_GATE>& param, string_view text, TextForm) {
    auto gateways = readGateways(text);
    if (!gateways) return false;
    param.items.clear();
    for (Gateway& gateway : *gateways) {
        LSP_GATE& gate = *param.items.emplace_back(std::make_unique<LSP_GATE>());
        gate.GATE_ADDRESS.value = std::move(gateway[0]);
        gate.CERT_SUBJECT.value = std::move(gateway[1]);
        gate.DST_SELECTOR.value = std::move(gateway[2]);
    }
    return true;
}

} // namespace

std::string printParam(const Param& param, TextForm form) {
    return visitParam(param, Overloaded{
                                 [](const ParamVector<LSP_GATE>& gates) { return printGates(gates); },
                                 [&](const auto& simple) { return printValue(simple, simple.value, form); },
                             });
}

std::string showParam(const ParamGroup& group, const Param& param) {
    std::string text = printParam(param);
    if (!isSecret(group.name, param.key) || text.empty()) return text;
    const bool isWord = param.type() == 10 && (text == "no" || text == "auto");
    return isWord ? text : mask;
}

std::string printDefault(const Param& param, TextForm form) {
    return visitParam(param, Overloaded{
                                 [](const ParamVector<LSP_GATE>&) { return std::string(); },
                                 [&](const auto& simple) { return printValue(simple, simple.defValue, form); },
                             });
}

void resetParam(Param& param) {
    visitParam(param, Overloaded{
                          [](ParamVector<LSP_GATE>& gates) { gates.items.clear(); },
                          [](auto& simple) { simple.value = simple.defValue; },
                      });
}

std::optional<ParamError> parseParam(const ParamGroup& group, Param& param, string_view text, TextForm form) {
    // What it holds may have come from the service, where bounds and formats are not checked.
    if (text == printParam(param, form)) return std::nullopt;
    if (visitParam(param, [&](auto& kind) { return readValue(kind, text, form); })) return std::nullopt;
    ParamError error{group.name, param.key, mask, legalValues(param, form), ""};
    if (!isSecret(group.name, param.key)) {
        error.text = text;
        error.nearest = nearestLegal(param, text, form);
    }
    return error;
}

} // namespace panelkit
