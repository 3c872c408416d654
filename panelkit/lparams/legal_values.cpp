// SPDX-License-Identifier: MIT
#include <panelkit/lparams/legal_values.h>

#include <panelkit/loc/registered_texts.h>
#include <panelkit/lparams/nearest.h>
#include <panelkit/lparams/param_visit.h>
#include <panelkit/lparams/sections.h>
#include <panelkit/lparams/value_text.h>
#include <platform/loccore/phrase.h>

#include <algorithm>

namespace panelkit {

namespace {

using namespace LPARAMS::Client;
using LPARAMS::Variant;
using std::string_view;

// ---- what is legal

template <class T, int TypeCode>
std::string legal(const NumericParam<T, TypeCode>& number, TextForm) {
    return std::to_string(number.minValue) + ".." + std::to_string(number.maxValue);
}

std::string legal(const EnumParam& param, TextForm form) {
    const char* quote = form == TextForm::display ? "\"" : "";
    std::string list;
    for (const Variant* row = param.variants; row->text; ++row) {
        if (!list.empty()) list += ", ";
        list += quote + printChoice(row, row->value, form) + quote;
    }
    return list;
}

std::string legal(const BoolParam&, TextForm) { return "on, off"; }
std::string legal(const StStParam&, TextForm) { return registeredText("any text"); }
std::string legal(const AddrParam&, TextForm) {
    return registeredText("an IPv4 or IPv6 address, a host name, or nothing");
}
std::string legal(const CPUsParam&, TextForm) {
    return registeredText("ALL; numbers and ranges up to 2047, such as 0,2-3; a hexadecimal mask, such as 0x5");
}
std::string legal(const QcdSParam&, TextForm) {
    return registeredText("an even number of 16 to 40 of the digits 0123456789absdefABCDEF; no; auto; nothing");
}
std::string legal(const TimeParam&, TextForm) {
    return registeredText("a time of day, such as 10:00 or 10:00:00; seconds, such as 36000s");
}
std::string legal(const ParamVector<LSP_GATE>&, TextForm) {
    return registeredText("gateways separated by \";\", each GATE_ADDRESS CERT_SUBJECT DST_SELECTOR; "
                          "a word that is empty or has blanks is in double quotes");
}

// ---- what of it is nearest

std::string nearestTo(const Param&, string_view, TextForm) { return {}; }

std::string nearestTo(const BoolParam&, string_view text, TextForm) { return nearest(text, {"on", "off"}); }

template <class T, int TypeCode>
std::string nearestTo(const NumericParam<T, TypeCode>& param, string_view text, TextForm) {
    if (text.empty() || text.find_first_not_of("0123456789") != string_view::npos) return {};
    const auto number = readDecimal<std::uint32_t>(text); // digits alone can't be read only where they are too many
    return std::to_string(number && *number < param.minValue ? param.minValue : param.maxValue);
}

std::string nearestTo(const EnumParam& param, string_view text, TextForm form) {
    std::vector<string_view> texts;
    for (const Variant* row = param.variants; row->text; ++row) {
        if (const char* choice = form == TextForm::display ? *row->text : row->name) texts.emplace_back(choice);
    }
    return nearest(text, texts);
}

} // namespace

std::string legalValues(const Param& param, TextForm form) {
    return visitParam(param, [&](const auto& kind) { return legal(kind, form); });
}

std::string nearestLegal(const Param& param, string_view text, TextForm form) {
    return visitParam(param, [&](const auto& kind) { return nearestTo(kind, text, form); });
}

std::string describe(const ParamError& error) {
    const std::string place = error.section + (error.key.empty() ? "" : '.' + error.key);
    const Loc::Phrase problem{registeredText("\"%s\" is not legal; legal: %s"), {error.text, error.legal}};
    const Loc::Phrase hint{registeredText("; nearest: %s"), {error.nearest}};
    return place + (place.empty() ? "" : ": ") + Loc::fill(problem) + (error.nearest.empty() ? "" : Loc::fill(hint));
}

std::optional<ParamError> findByName(const AllGroups& groups, string_view name, Place& place) {
    const std::size_t dot = std::min(name.find('.'), name.size());
    const string_view section = name.substr(0, dot);
    const string_view key = name.substr(std::min(dot + 1, name.size()));
    place = groups.find(section, key);
    if (place.param) return std::nullopt;
    std::vector<string_view> names;
    if (place.group) {
        for (const Param* param : place.group->params) names.emplace_back(param->key);
        return ParamError{place.group->name, "", std::string(key), registeredText("a key of the section"),
                          nearest(key, names)};
    }
    for (const auto& group : groups) names.emplace_back(group->name);
    return ParamError{"", "", std::string(section), registeredText("a section"), nearest(section, names)};
}

} // namespace panelkit
