// SPDX-License-Identifier: MIT
#include <panelctl/config/config_values.h>

#include <panelctl/nearest.h>
#include <panelctl/say.h>

#include <panelkit/lparams/param_visit.h>
#include <platform/system/wipe.h>

#include <optional>

namespace panelctl {

using namespace LPARAMS::Client;
using panelkit::Overloaded;
using panelkit::ParamError;
using panelkit::TextForm;

const panelkit::AllGroups& catalogue() {
    static const panelkit::AllGroups groups;
    return groups;
}

std::string nameOf(const ParamGroup& group, const Param& param) { return std::string(group.name) + '.' + param.key; }

// ---- names

namespace {

std::string withNearest(const std::string& message, const std::string& meant) { return message + didYouMean(meant); }

std::string keyNearestTo(const ParamGroup& group, const std::string& key) {
    std::vector<std::string> keys;
    for (const Param* param : group.params) keys.emplace_back(param->key);
    return nearest(key, keys);
}

// The parameter that a key without its section means, or nearly means.
std::string parameterCalled(const std::string& key) {
    for (const auto& group : catalogue()) {
        if (const Param* param = panelkit::findParam(*group, key)) return nameOf(*group, *param);
    }
    for (const auto& group : catalogue()) {
        if (const std::string near = keyNearestTo(*group, key); !near.empty()) return group->name + ('.' + near);
    }
    return {};
}

} // namespace

CommandError noSuchSection(const std::string& section) {
    std::vector<std::string> names;
    for (const auto& group : catalogue()) names.emplace_back(group->name);
    const std::string near = nearest(section, names);
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
    const Place place = catalogue().find(section, key);
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
        if (const Place section = catalogue().find(name, ""); section.group) {
            addAll(*section.group);
        } else {
            places.push_back(findParameter(name));
        }
    }
    if (names.empty()) {
        for (const auto& group : catalogue()) addAll(*group);
    }
    return places;
}

// ---- values

std::string shown(const ParamGroup& group, const Param& param, bool reveal) {
    return reveal ? panelkit::printParam(param) : panelkit::showParam(group, param);
}

bool sameValue(const Param& a, const Param& b) {
    return panelkit::printParam(a, TextForm::stored) == panelkit::printParam(b, TextForm::stored);
}

namespace {

// What the group's constraints say of a text that is no value of the parameter. They tell more than a list of what is
// legal.
std::string constraintAgainst(const ParamGroup& group, Param& param, const std::string& text) {
    auto* const plain = dynamic_cast<StStParam*>(&param);
    if (!plain) return {};
    const std::string before = plain->value;
    plain->value = text;
    std::string message;
    for (const Constraint* constraint : group.constraints) {
        if (constraint->violated()) message = constraint->message;
    }
    plain->value = before;
    return message;
}

Exit exitForIllegal(const Param& param) {
    return panelkit::visitParam(param, Overloaded{
                                           [](const PortParam&) { return Exit::outOfBounds; },
                                           [](const UIntParam&) { return Exit::outOfBounds; },
                                           [](const BoolParam&) { return Exit::unknownChoice; },
                                           [](const EnumParam&) { return Exit::unknownChoice; },
                                           [](const Param&) { return Exit::malformedValue; },
                                       });
}

CommandError illegal(const ParamGroup& group, const Param& param, const ParamError& error,
                     const std::string& constraint) {
    const std::string name = nameOf(group, param);
    if (!constraint.empty()) {
        return {Exit::malformedValue, say("%s: \"%s\" is not legal: %s", name, error.text, constraint)};
    }
    return {exitForIllegal(param),
            withNearest(say("%s: \"%s\" is not legal; legal: %s", name, error.text, error.legal), error.nearest)};
}

} // namespace

void setFromText(ParamGroup& group, Param& param, const std::string& text, TextForm form) {
    if (text == secretMask && panelkit::isSecret(group.name, param.key)) {
        throw CommandError(Exit::malformedValue, say("%s: \"***\" is shown in place of a secret and can't be its value",
                                                     nameOf(group, param)));
    }
    if (const auto error = panelkit::parseParam(group, param, text, form)) {
        throw illegal(group, param, *error, constraintAgainst(group, param, text));
    }
}

void requireConstraints(const ParamGroup& group) {
    for (const Constraint* constraint : group.constraints) {
        if (constraint->violated()) {
            throw CommandError(Exit::malformedValue, std::string(group.name) + ": " + constraint->message);
        }
    }
}

void wipeSecrets(ParamGroup& group) {
    for (Param* param : group.params) {
        if (!panelkit::isSecret(group.name, param->key)) continue;
        panelkit::visitParam(*param, Overloaded{
                                         [](StStParam& plain) { platform::wipe(plain.value); },
                                         [](QcdSParam& secret) {
                                             platform::wipe(secret.value);
                                             platform::wipe(secret.history);
                                         },
                                         [](Param&) {},
                                     });
    }
}

} // namespace panelctl
