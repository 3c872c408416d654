// SPDX-License-Identifier: MIT
#include <service/engine/engine_parameters.h>

#include <panelkit/lparams/sections/sections.h>

#include <algorithm>
#include <stdexcept>

namespace panelkitd {

using panelkit::SectionBody;
using vocabulary::OptionForm;
using vocabulary::ParameterEffect;

namespace {

// The daemon sends a request again five times, after pauses that grow by 1.8. With the last pause, an exchange takes 41
// times the first one.
std::string firstPause(std::int64_t exchange) {
    const std::int64_t milliseconds = std::max<std::int64_t>(exchange * 1000 / 41, 100);
    const std::string rest = std::to_string(milliseconds % 1000);
    return std::to_string(milliseconds / 1000) + '.' + std::string(3 - rest.size(), '0') + rest;
}

// Returns the value of the option; empty for the daemon's own default.
std::string optionOf(OptionForm form, std::int64_t value) {
    switch (form) {
    case OptionForm::none: return {};
    case OptionForm::number: return std::to_string(value);
    case OptionForm::seconds: return std::to_string(value) + 's';
    case OptionForm::yesOrNo: return value != 0 ? "yes" : "no";
    case OptionForm::exchangeTime: return firstPause(value);
    case OptionForm::fragmentation: return value == 0 ? "no" : value == 2 ? "force" : "yes";
    case OptionForm::jitter: return value == 0 ? "0s" : "";
    case OptionForm::padding: return value == 0 ? "0" : "mtu";
    case OptionForm::natPort: return (value & 64) != 0 ? "4500" : "";
    }
    return {};
}

std::int64_t defaultOf(std::string_view name) {
    const std::size_t dot = name.find('.');
    const auto [group, param] = panelkit::allGroups().find(name.substr(0, dot), name.substr(dot + 1));
    if (!param) throw std::logic_error("no parameter: " + std::string(name));
    const SectionBody defaults = SectionBody::defaultsOf(*group);
    return integerOf(defaults[defaults.indexOf(param->key)]);
}

} // namespace

// Flags have one byte, numbers and choices four.
std::int64_t integerOf(const panelkit::SectionValue& value) {
    return value.stored.size() == 1 ? std::int64_t{value.get<bool>()} : std::int64_t{value.get<std::int32_t>()};
}

std::int64_t valueOf(const EngineParameters& parameters, std::string_view name) {
    const auto given = parameters.find(name);
    return given != parameters.end() ? given->second : defaultOf(name);
}

void addParameters(const EngineParameters& parameters, vocabulary::ParameterMoment moment, ViciSection& to) {
    for (const ParameterEffect& row : vocabulary::parameterEffects) {
        if (row.moment != moment || row.form == OptionForm::none) continue;
        std::string value = optionOf(row.form, valueOf(parameters, row.name));
        if (!value.empty()) to.add(row.option, std::move(value));
    }
}

bool followsRedirects(const EngineParameters& parameters) {
    return valueOf(parameters, "IKE.REDIRECT_POLICY") == 2 && valueOf(parameters, "IKE.REDIRECT_EXTIP") == 2;
}

} // namespace panelkitd
