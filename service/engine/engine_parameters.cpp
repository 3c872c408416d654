// SPDX-License-Identifier: MIT
#include <service/engine/engine_parameters.h>

#include <algorithm>
#include <stdexcept>

namespace panelkitd {

namespace {

using enum ParameterPlace;

std::string asNumber(std::int64_t value) { return std::to_string(value); }
std::string inSeconds(std::int64_t value) { return std::to_string(value) + "s"; }
std::string yesOrNo(std::int64_t value) { return value != 0 ? "yes" : "no"; }

// The daemon sends a request again five times, after pauses that grow by 1.8. With the last pause, an exchange takes 41
// times the first one.
std::string firstPause(std::int64_t exchange) {
    const std::int64_t milliseconds = std::max<std::int64_t>(exchange * 1000 / 41, 100);
    const std::string rest = std::to_string(milliseconds % 1000);
    return std::to_string(milliseconds / 1000) + '.' + std::string(3 - rest.size(), '0') + rest;
}

std::string fragmentation(std::int64_t value) { return value == 0 ? "no" : value == 2 ? "force" : "yes"; }
std::string jitter(std::int64_t value) { return value == 0 ? "0s" : ""; }
std::string padding(std::int64_t value) { return value == 0 ? "0" : "mtu"; }
std::string natPort(std::int64_t value) { return (value & 64) != 0 ? "4500" : ""; }
std::string revocation(std::int64_t value) { return value == 1 ? "strict" : "relaxed"; }
std::string nothing(std::int64_t /*value*/) { return {}; }

// clang-format off
constexpr EngineParameter table[] = {
    {"IKE.IKE_CLIENT",                 1,   start,      "initiator_only",       yesOrNo,       "On: no gateway can begin an exchange. A change starts the IKE daemon again."},
    {"IKE.EXCHANGE_TIMEOUT",           60,  settings,   "retransmit_timeout",   firstPause,    "After this time without an answer the gateway counts as unreachable."},
    {"IKE.MAX_HALFOPEN",               64,  start,      "init_limit_half_open", asNumber,      "A change starts the IKE daemon again."},
    {"IKE.NATT_POLICY",                1,   connection, "remote_port",          natPort,       "\"Start from NAT-T port\": port 4500 from the first packet. \"Forced\": UDP also without NAT. Detection can't be switched off; \"Disabled\" acts as \"Autodetect\"."},
    {"IKE.REDIRECT_POLICY",            2,   combined,   "follow_redirects",     nothing,       "Redirects are followed only if they are always processed and any address is accepted; else never."},
    {"IKE.REDIRECT_EXTIP",             2,   combined,   "follow_redirects",     nothing,       "See IKE.REDIRECT_POLICY."},
    {"IKE.IKE2_FRAGMENTATION",         1,   connection, "fragmentation",        fragmentation, ""},
    {"IKE.IKE2_LIFETIME_JITTER",       1,   connection, "rand_time",            jitter,        ""},
    {"IKE.MOBIKE_ENABLED",             1,   connection, "mobike",               yesOrNo,       ""},
    {"IKE.DPD_IDLE_TIME",              30,  connection, "dpd_delay",            inSeconds,     "0: a gateway that is gone is noticed only when keys are renewed."},
    {"IKE.NATKA_INTERVAL",             20,  settings,   "keep_alive",           inSeconds,     ""},
    {"IKE.IPSEC_DELAYED_DELETE_IN_SA", 5,   settings,   "delete_rekeyed_delay", asNumber,      ""},
    {"IKE.IPSEC_ANTI_REPLAY_WINDOW",   512, child,      "replay_window",        asNumber,      ""},
    {"IKE.IPSEC_TFC_PADDING",          0,   child,      "tfc_padding",          padding,       ""},
    {"IKE.CRL_PROCESSING",             0,   combined,   "revocation",           revocation,    "Of the gateway's certificate, with the CRLs on tokens. A list of more than 65,535 bytes can't be given to the IKE daemon."},
};
// clang-format on

} // namespace

std::span<const EngineParameter> engineParameters() { return table; }

std::int64_t valueOf(const EngineParameters& parameters, std::string_view name) {
    const auto given = parameters.find(name);
    if (given != parameters.end()) return given->second;
    const auto row = std::find_if(std::begin(table), std::end(table), [&](const auto& p) { return p.name == name; });
    if (row == std::end(table)) throw std::logic_error("no parameter of the engine: " + std::string(name));
    return row->byDefault;
}

void addParameters(const EngineParameters& parameters, ParameterPlace place, ViciSection& to) {
    for (const EngineParameter& row : table) {
        if (row.place != place) continue;
        std::string value = row.valueOf(valueOf(parameters, row.name));
        if (!value.empty()) to.add(row.option, std::move(value));
    }
}

bool followsRedirects(const EngineParameters& parameters) {
    return valueOf(parameters, "IKE.REDIRECT_POLICY") == 2 && valueOf(parameters, "IKE.REDIRECT_EXTIP") == 2;
}

} // namespace panelkitd
