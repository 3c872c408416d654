// SPDX-License-Identifier: MIT
//
// The parameters of the configuration that have an effect on the IKE daemon (vocabulary/parameters.h), as options of
// it. Values are integers as the configuration stores them; a flag is 0 or 1.
#pragma once

#include <service/engine/vici_message.h>

#include <panelkit/lparams/sections/section_body.h>
#include <vocabulary/parameters.h>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace panelkitd {

// By name, such as "IKE.DPD_IDLE_TIME". A parameter that is missing has its default.
using EngineParameters = std::map<std::string, std::int64_t, std::less<>>;

// The value of a flag, a number or a choice.
std::int64_t integerOf(const panelkit::SectionValue& value);

// All that have an effect. `bodyOf` returns the body of a section.
template <class BodyOf>
EngineParameters engineParametersOf(const BodyOf& bodyOf) {
    EngineParameters values;
    for (const vocabulary::ParameterEffect& row : vocabulary::parameterEffects) {
        if (row.user == vocabulary::ParameterUser::service) continue;
        const std::size_t dot = row.name.find('.');
        const panelkit::SectionBody& body = bodyOf(row.name.substr(0, dot));
        values[std::string(row.name)] = integerOf(body[body.indexOf(row.name.substr(dot + 1))]);
    }
    return values;
}

// The value of the parameter, or its default.
std::int64_t valueOf(const EngineParameters& parameters, std::string_view name);

// Adds the options that count from that moment.
void addParameters(const EngineParameters& parameters, vocabulary::ParameterMoment moment, ViciSection& to);

// Whether the gateway's address in another packet may replace that of the policy: IKE.REDIRECT_POLICY and
// IKE.REDIRECT_EXTIP together.
bool followsRedirects(const EngineParameters& parameters);

} // namespace panelkitd
