// SPDX-License-Identifier: MIT
//
// IKE: tuning of the key exchange and of IPsec.
//
// The bounds of EXCHANGE_TIMEOUT and SHORT_EXCHANGE_TIMEOUT are narrower than what their helps say. Both are intended:
// the bounds are enforced, and the texts are shown as they are.
#pragma once

#include <panelkit/lparams/formatted_params.h>
#include <panelkit/lparams/param_group.h>

namespace LPARAMS::Client {

struct PANELKIT_EXPORT IKE : ParamGroup {
    IKE();
    ~IKE() override;

    // clang-format off
    BoolParam IKE_CLIENT                {*this, "IKE_CLIENT",                 registerText("Act as client only"),                               true};
    EnumParam IKETCP_ENABLED            {*this, "IKETCP_ENABLED",             Text::ipsecOverTcp,                                               1,  IKETCP_MODE_VARIANTS};
    EnumParam MIXED_TRANSPORT_MODE      {*this, "MIXED_TRANSPORT_MODE",       registerText("Use mixed transport mode"),                         0,  MIXED_TRANSPORT_VARIANTS};
    UIntParam EXCHANGE_TIMEOUT          {*this, "EXCHANGE_TIMEOUT",           {Text::exchangeTimeout,      Text::exchangeTimeoutHelp},          60, {5, 300}};
    UIntParam SHORT_EXCHANGE_TIMEOUT    {*this, "SHORT_EXCHANGE_TIMEOUT",     {Text::shortExchangeTimeout, Text::shortExchangeTimeoutHelp},     5,  {3, 20}};
    UIntParam MAX_HALFOPEN              {*this, "MAX_HALFOPEN",               {Text::maxHalfOpen,          Text::maxHalfOpenHelp},              64, {0, 256}};
    UIntParam WNDSIZE_INITIATOR         {*this, "WNDSIZE_INITIATOR",          {Text::initiatorWindow,      Text::initiatorWindowHelp},          4,  {1, 16}};
    UIntParam WNDSIZE_RESPONDER         {*this, "WNDSIZE_RESPONDER",          {Text::responderWindow,      Text::responderWindowHelp},          4,  {1, 16}};
    BoolParam SOLVE_PUZZLES             {*this, "SOLVE_PUZZLES",              {Text::honorPuzzles,         Text::honorPuzzlesHelp},             true};
    EnumParam PUZZLES_POLICY            {*this, "PUZZLES_POLICY",             {Text::puzzlesPolicy,        Text::puzzlesPolicyHelp},            0,  PUZZLES_POLICY_VARIANTS};
    UIntParam PUZZLES_DIFFICULTY        {*this, "PUZZLES_DIFFICULTY",         {Text::puzzlesDifficulty,    Text::puzzlesDifficultyHelp},        16, {0, 31}};
    EnumParam SERVERS_POLICY            {*this, "SERVERS_POLICY",             Text::serversPolicy,                                              1,  SERVERS_POLICY_VARIANTS};
    BoolParam TRY_USE_EXISTING_IP       {*this, "TRY_USE_EXISTING_IP",        Text::reuseSaIp,                                                  false};
    EnumParam NATT_POLICY               {*this, "NATT_POLICY",                {Text::natTraversal,         Text::natTraversalHelp},             1,  NATT_POLICY_VARIANTS};
    EnumParam REDIRECT_POLICY           {*this, "REDIRECT_POLICY",            Text::redirectPolicy,                                             2,  REDIRECT_POLICY_VARIANTS};
    UIntParam REDIRECT_CHAIN            {*this, "REDIRECT_CHAIN",             registerText("Maximum allowed number of Redirects while establishing IKE SA"), 5, {1, 16}};
    EnumParam REDIRECT_EXTIP            {*this, "REDIRECT_EXTIP",             {registerText("Redirects to IP addresses not listed in LSP"),
                                                                               registerText("Accept Redirects to IP addresses not listed in LSP")}, 2, REDIRECT_EXTIP_VARIANTS};
    EnumParam ERRNTF_POLICY             {*this, "ERRNTF_POLICY",              {Text::errorNotifications,   Text::errorNotificationsHelp},       10, ERRNTF_POLICY_VARIANTS};
    EnumParam IKE2_FRAGMENTATION        {*this, "IKE2_FRAGMENTATION",         {Text::ike2Fragmentation,    Text::ike2FragmentationHelp},        1,  IKE2_FRAGM_VARIANTS};
    BoolParam IKE2_LIFETIME_JITTER      {*this, "IKE2_LIFETIME_JITTER",       {Text::ike2Jitter,           Text::ike2JitterHelp},               true};
    BoolParam RESUMPTION_ENABLED        {*this, "RESUMPTION_ENABLED",         {Text::ike2Resumption,       Text::ike2ResumptionHelp},           true};
    BoolParam MOBIKE_ENABLED            {*this, "MOBIKE_ENABLED",             {Text::mobike,               Text::mobikeHelp},                   true};
    QcdSParam QCD_SECRET                {*this, "QCD_SECRET",                 {Text::qcdSecret,            Text::qcdSecretHelp},                ""};
    UIntParam DPD_IDLE_TIME             {*this, "DPD_IDLE_TIME",              {Text::dpdIdleTime,          Text::dpdIdleTimeHelp},              30, {0, 600}};
    UIntParam NATKA_INTERVAL            {*this, "NATKA_INTERVAL",             {Text::natKeepalive,         Text::natKeepaliveHelp},             20, {1, 60}};
    UIntParam IPSEC_PROV_TRAFFIC        {*this, "IPSEC_PROV_TRAFFIC",         {Text::provisionTraffic,     Text::provisionTrafficHelp},         2048, {0, 16384}};
    UIntParam IPSEC_DELAYED_DELETE_IN_SA{*this, "IPSEC_DELAYED_DELETE_IN_SA", {Text::removalDelay,         Text::removalDelayHelp},             5,  {0, 60}};
    EnumParam IPSEC_ANTI_REPLAY_WINDOW  {*this, "IPSEC_ANTI_REPLAY_WINDOW",   {Text::antiReplayWindow,     Text::antiReplayWindowHelp},         512, ANTI_REPLAY_WINDOW_SIZE_VARIANTS};
    EnumParam IPSEC_TFC_PADDING         {*this, "IPSEC_TFC_PADDING",          {Text::tfcPadding,           Text::tfcPaddingHelp},               0,  TFC_PADDING_VARIANTS};
    BoolParam PERSISTENT_SA             {*this, "PERSISTENT_SA",              {Text::persistentSa,         Text::persistentSaHelp},             false};
    EnumParam IKECFG_DNS                {*this, "IKECFG_DNS",                 Text::ikecfgDns,                                                  2,  IKECFG_DNS_MODE_VARIANTS};
    EnumParam CRL_PROCESSING            {*this, "CRL_PROCESSING",             {Text::crlProcessing,        Text::crlProcessingHelp},            0,  CRL_PROC_VARIANTS};
    UIntParam CRL_TIMEOUT               {*this, "CRL_TIMEOUT",                {Text::crlTimeout,           Text::crlTimeoutIkeHelp},            0,  {0, 600}};
    // clang-format on
};

} // namespace LPARAMS::Client
