// SPDX-License-Identifier: MIT
//
// The parameters of the configuration that have an effect on the IKE daemon: one table, from which the documents are
// made too. Values are integers as the configuration stores them; a flag is 0 or 1.
#pragma once

#include <service/engine/vici_message.h>

#include <cstdint>
#include <map>
#include <span>
#include <string>

namespace panelkitd {

// By name, such as "IKE.DPD_IDLE_TIME". A parameter that is missing has its default.
using EngineParameters = std::map<std::string, std::int64_t, std::less<>>;

// Where a parameter takes effect, and from when.
enum class ParameterPlace : unsigned char {
    connection, // of each tunnel: a change sets the tunnels up again
    child,      // of the traffic of each tunnel: as above
    settings,   // of the daemon: for tunnels that are set up after the change
    start,      // of the daemon: a change starts it again
    combined,   // together with another parameter
};

struct EngineParameter {
    const char* name; // SECTION.KEY
    std::int64_t byDefault;
    ParameterPlace place;
    const char* option;                         // of the daemon
    std::string (*valueOf)(std::int64_t value); // empty: the daemon's own default
    const char* effect;                         // for the documents
};

std::span<const EngineParameter> engineParameters();

// The value of the parameter, or its default.
std::int64_t valueOf(const EngineParameters& parameters, std::string_view name);

// Adds the options of the parameters with that place.
void addParameters(const EngineParameters& parameters, ParameterPlace place, ViciSection& to);

// Whether the gateway's address in another packet may replace that of the policy: IKE.REDIRECT_POLICY and
// IKE.REDIRECT_EXTIP together.
bool followsRedirects(const EngineParameters& parameters);

} // namespace panelkitd
