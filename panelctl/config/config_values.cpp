// SPDX-License-Identifier: MIT
#include <panelctl/config/config_values.h>

#include <panelctl/base/say.h>

#include <panelkit/format/nearest.h>
#include <vocabulary/parameters.h>

namespace panelctl {

using panelkit::ParamError;
using panelkit::ValueForm;

std::string nameOf(const ParamGroup& group, const Param& param) { return std::string(group.name) + '.' + param.key; }

// ---- names

namespace {

std::string withNearest(const std::string& message, const std::string& meant) { return message + didYouMean(meant); }

std::string keyNearestTo(const ParamGroup& group, const std::string& key) {
    std::vector<std::string> keys;
    for (const Param* param : group.params) keys.emplace_back(param->key);
    return panelkit::nearest(key, keys);
}

// The parameter that a key without its section means, or nearly means.
std::string parameterCalled(const std::string& key) {
    for (const auto& group : allGroups()) {
        if (const Param* param = panelkit::findParam(*group, key)) return nameOf(*group, *param);
    }
    for (const auto& group : allGroups()) {
        if (const std::string near = keyNearestTo(*group, key); !near.empty()) return group->name + ('.' + near);
    }
    return {};
}

} // namespace

CommandError noSuchSection(const std::string& section) {
    std::vector<std::string> names;
    for (const auto& group : allGroups()) names.emplace_back(group->name);
    const std::string near = panelkit::nearest(section, names);
    return {Exit::notFound,
            withNearest(say("there is no section \"%s\"", section), near.empty() ? parameterCalled(section) : near)};
}

CommandError noSuchKey(const ParamGroup& group, const std::string& key) {
    const std::string near = keyNearestTo(group, key);
    return {Exit::notFound, withNearest(say("section %s has no key \"%s\"", group.name, key),
                                        near.empty() ? near : std::string(group.name) + '.' + near)};
}

Place findParameter(const std::string& name) {
    const std::size_t dot = name.find('.');
    const std::string section = name.substr(0, dot);
    const std::string key = dot == std::string::npos ? "" : name.substr(dot + 1);
    const Place place = allGroups().find(section, key);
    if (!place.group) throw noSuchSection(section);
    if (key.empty()) {
        throw CommandError(Exit::usage, say("\"%1$s\" is a section; 'panelctl config list %1$s' lists its parameters",
                                            place.group->name));
    }
    if (!place.param) throw noSuchKey(*place.group, key);
    return place;
}

std::vector<Place> findParameters(const std::vector<std::string>& names) {
    std::vector<Place> places;
    const auto addAll = [&](ParamGroup& group) {
        for (Param* param : group.params) places.push_back({&group, param});
    };
    for (const std::string& name : names) {
        if (const Place section = allGroups().find(name, ""); section.group) {
            addAll(*section.group);
        } else {
            places.push_back(findParameter(name));
        }
    }
    if (names.empty()) {
        for (const auto& group : allGroups()) addAll(*group);
    }
    return places;
}

// ---- values

std::string shown(const SectionValue& value, bool reveal) { return reveal ? value.print() : value.show(); }

namespace {

Exit exitForIllegal(const Param& param) {
    switch (panelkit::kindOf(param).form) {
    case ValueForm::number: return Exit::outOfBounds;
    case ValueForm::flag:
    case ValueForm::choice: return Exit::unknownChoice;
    default: return Exit::malformedValue;
    }
}

} // namespace

CommandError illegal(const SectionValue& value, const ParamError& error) {
    const std::string name = nameOf(value);
    if (!error.constraint.empty()) {
        return {Exit::malformedValue, say("%s: \"%s\" is not legal: %s", name, error.text, error.constraint)};
    }
    return {exitForIllegal(*value.param),
            withNearest(say("%s: \"%s\" is not legal; legal: %s", name, error.text, error.legal), error.nearest)};
}

CommandError maskGiven(const SectionValue& value) {
    return {Exit::malformedValue,
            say("%s: \"***\" is shown in place of a secret and can't be its value", nameOf(value))};
}

std::string effectText(const SectionValue& value) {
    using vocabulary::ParameterUser;
    const vocabulary::ParameterEffect* const row = vocabulary::parameterEffect(nameOf(value));
    if (!row) return say("none; the value is only stored");
    const std::string text = say(row->effect) + ' ' + say(vocabulary::textOf(row->moment));
    if (row->user == ParameterUser::service) return say("in the service: %s", text);
    if (row->user == ParameterUser::charon) return say("only with the engine \"charon\": %s", text);
    return say("in the service, and with the engine \"charon\": %s", text);
}

void setFromText(SectionBody& body, std::size_t index, const std::string& text) {
    if (text == secretMask && body[index].isSecret()) throw maskGiven(body[index]);
    if (const auto error = body.enterText(index, text)) throw illegal(body[index], *error);
}

} // namespace panelctl
