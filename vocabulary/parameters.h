// SPDX-License-Identifier: MIT
//
// Which parameters of the configuration have an effect: in panelkitd itself, in the IKE daemon of its engine `charon`,
// or in both. This is the one list of them. docs/parameters.md and `panelctl config describe` show it, and the engine
// makes the options of its daemon from it. A parameter that is not in it is stored and returned, and has no effect. In
// the library none has an effect.
#pragma once

#include <platform/loccore/phrase.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace vocabulary {

// Who acts on a parameter.
enum class ParameterUser : unsigned char { service, charon, serviceAndCharon };

// From when a changed value counts, after the commit.
enum class ParameterMoment : unsigned char {
    atOnce,
    connection, // each tunnel is set up again
    child,      // likewise; the option belongs to the traffic of a tunnel and not to its gateway
    settings,   // for tunnels that are set up after the change
    start,      // the IKE daemon is started again
};

// What is said to people of a moment.
struct ParameterMomentText {
    ParameterMoment moment;
    Loc::MarkedWording<> text; // a sentence
};
// clang-format off
inline constexpr std::array parameterMomentTexts = {
    ParameterMomentText{ParameterMoment::atOnce,     Loc::N_("A change counts at once.")},
    ParameterMomentText{ParameterMoment::connection, Loc::N_("A change sets the tunnels up again.")},
    ParameterMomentText{ParameterMoment::child,      Loc::N_("A change sets the tunnels up again.")},
    ParameterMomentText{ParameterMoment::settings,   Loc::N_("A change counts for tunnels that are set up later.")},
    ParameterMomentText{ParameterMoment::start,      Loc::N_("A change starts the IKE daemon again.")},
};
// clang-format on
// Returns the sentence for a moment.
constexpr const Loc::MarkedWording<>& textOf(ParameterMoment moment) {
    return parameterMomentTexts.at(static_cast<std::size_t>(moment)).text;
}

// How the option of the IKE daemon is written.
enum class OptionForm : unsigned char {
    none, // no option is made from this value alone: the daemon has none for it, or it needs other parameters as well
    number,
    seconds,
    yesOrNo,
    exchangeTime, // the first pause, from the time for the whole exchange
    fragmentation,
    jitter,
    padding,
    natPort,
};

// A parameter that has an effect.
struct ParameterEffect {
    std::string_view name; // SECTION.KEY
    ParameterUser user;
    ParameterMoment moment;
    const char* option; // of the IKE daemon; empty if only the service acts on it
    OptionForm form;
    Loc::MarkedWording<> effect; // a sentence
};

namespace parameterRows {
using enum ParameterUser;
using enum ParameterMoment;
using enum OptionForm;
using Loc::N_;

// clang-format off
inline constexpr std::array all = {
    ParameterEffect{"ADMIN.ADMIN_GROUP",               service,          atOnce,     "",                     none,          N_("The members of this group administer the service. Root and the account of the service always may.")},
    ParameterEffect{"CERTMON.ENABLE",                  service,          atOnce,     "",                     none,          N_("Whether the service looks every day for certificates that expire.")},
    ParameterEffect{"CERTMON.DAYS_TO_EXPIRE",          service,          atOnce,     "",                     none,          N_("From so many days before its end a certificate is announced.")},
    ParameterEffect{"CERTMON.CHECKING_TIME",           service,          atOnce,     "",                     none,          N_("When the service looks for certificates that expire. A value that is not a time of day counts as 10:00.")},
    ParameterEffect{"IKE.IKE_CLIENT",                  charon,           start,      "initiator_only",       yesOrNo,       N_("On: no gateway can begin an exchange.")},
    ParameterEffect{"IKE.EXCHANGE_TIMEOUT",            charon,           settings,   "retransmit_timeout",   exchangeTime,  N_("After this time without an answer the gateway counts as unreachable.")},
    ParameterEffect{"IKE.MAX_HALFOPEN",                charon,           start,      "init_limit_half_open", number,        N_("More exchanges that others have begun are not answered.")},
    ParameterEffect{"IKE.NATT_POLICY",                 charon,           connection, "remote_port",          natPort,       N_("\"Start from NAT-T port\": port 4500 from the first packet. \"Forced\": UDP also without NAT. Detection can't be switched off; \"Disabled\" acts as \"Autodetect\".")},
    ParameterEffect{"IKE.REDIRECT_POLICY",             charon,           settings,   "follow_redirects",     none,          N_("Redirects are followed only if they are always processed and any address is accepted; else never.")},
    ParameterEffect{"IKE.REDIRECT_EXTIP",              charon,           settings,   "follow_redirects",     none,          N_("See IKE.REDIRECT_POLICY.")},
    ParameterEffect{"IKE.IKE2_FRAGMENTATION",          charon,           connection, "fragmentation",        fragmentation, N_("Whether long IKE messages are cut into several packets.")},
    ParameterEffect{"IKE.IKE2_LIFETIME_JITTER",        charon,           connection, "rand_time",            jitter,        N_("On: the moment at which keys are renewed varies.")},
    ParameterEffect{"IKE.MOBIKE_ENABLED",              charon,           connection, "mobike",               yesOrNo,       N_("On: a tunnel stays when an address of this host changes.")},
    ParameterEffect{"IKE.QCD_SECRET",                  service,          atOnce,     "",                     none,          N_("The service makes the secret if that is left to it. The IKE daemon does not use it.")},
    ParameterEffect{"IKE.DPD_IDLE_TIME",               charon,           connection, "dpd_delay",            seconds,       N_("After so much silence the gateway is asked whether it is there. With 0, one that is gone is noticed only when keys are renewed.")},
    ParameterEffect{"IKE.NATKA_INTERVAL",              charon,           settings,   "keep_alive",           seconds,       N_("How often a packet keeps the way through NAT open.")},
    ParameterEffect{"IKE.IPSEC_DELAYED_DELETE_IN_SA",  charon,           settings,   "delete_rekeyed_delay", number,        N_("So many seconds after a renewal, packets with the old keys are still accepted.")},
    ParameterEffect{"IKE.IPSEC_ANTI_REPLAY_WINDOW",    charon,           child,      "replay_window",        number,        N_("A packet that is further behind the newest one is dropped.")},
    ParameterEffect{"IKE.IPSEC_TFC_PADDING",           charon,           child,      "tfc_padding",          padding,       N_("On: every packet is filled up to the largest size.")},
    ParameterEffect{"IKE.CRL_PROCESSING",              serviceAndCharon, connection, "revocation",           none,          N_("How revocation is checked when a certificate is verified, also that of a gateway, with the CRLs on tokens. The IKE daemon takes no list of more than 65,535 bytes.")},
    ParameterEffect{"LOG.LOG_LEVEL",                   service,          atOnce,     "",                     none,          N_("How much the service writes to its log.")},
    ParameterEffect{"POLICY.SYSTEM_LSP_SOURCE",        service,          atOnce,     "",                     none,          N_("Where the system's policy is taken from at its next activation: the same as in the policy settings.")},
    ParameterEffect{"POLICY.SYSTEM_LSP_FROM_FILE",     service,          atOnce,     "",                     none,          N_("The policy file of the source \"File\": the same as in the policy settings.")},
};
// clang-format on
} // namespace parameterRows

inline constexpr const auto& parameterEffects = parameterRows::all;

// Returns null for a parameter without an effect.
constexpr const ParameterEffect* parameterEffect(std::string_view name) {
    const auto* const found = std::find_if(parameterEffects.begin(), parameterEffects.end(),
                                           [&](const ParameterEffect& row) { return row.name == name; });
    return found == parameterEffects.end() ? nullptr : found;
}

} // namespace vocabulary
