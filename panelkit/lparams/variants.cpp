// SPDX-License-Identifier: MIT
//
// The variant tables, the texts of them that are registered, and look-ups in a table. Tables and texts are in one file
// because they depend on each other's order of initialisation. The orders of rows are deliberate: front ends list the
// choices so.
#include <panelkit/lparams/variants.h>

#include <panelkit/loc/registered_texts.h>
#include <panelkit/loc/text_table.h>
#include <platform/text/ascii.h>

#include <array>

namespace LPARAMS {

namespace {

using panelkit::Text;

constexpr const char* const* cell(Text text) { return &panelkit::textCells[static_cast<std::size_t>(text)]; }

constexpr Variant end{0, nullptr, nullptr};

// clang-format off
const char* const& tcpForced                = registerText("Force");
const char* const& nattFromPort             = registerText("Start from NAT-T port");
const char* const& nattFromPortForced       = registerText("Start from NAT-T port & force UDP encapsulation");
const char* const& redirectAuthenticated    = registerText("Process Redirects only after server authentication");
const char* const& redirectAlways           = registerText("Always process Redirects");
const char* const& sourceHttp               = registerText("HTTP");
const char* const& sourceGate               = registerText("GATE");
const char* const& mixedOff                 = registerText("OFF");
const char* const& mixedAlways              = registerText("ALWAYS");
const char* const& mixedAuto                = registerText("AUTO");
const char* const& extIpNever               = registerText("Accept Redirects only to IP addresses from LSP");
const char* const& extIpAuthenticated       = registerText("Accept Redirects to any IP address only from authenticated servers");
const char* const& extIpAlways              = registerText("Accept Redirects to any IP address");

} // namespace

// Only one status has a text; any other is printed as the caller's default.
const Variant IKE1_STATUS_VARIANTS[] = {
    {3, cell(Text::ikeStatusEnabled), "IKE_STATUS_ENABLED"},
    end};

const Variant IKE2_STATUS_VARIANTS[] = {
    {3, cell(Text::ikeStatusEnabled), "IKE_STATUS_ENABLED"},
    end};

const Variant IKE2_FRAGM_VARIANTS[] = {
    {0, cell(Text::ike2FragmDisabled), "IKE2_FRAGM_DISABLED"},
    {1, cell(Text::ike2FragmAuto),     "IKE2_FRAGM_AUTO"},
    {2, cell(Text::ike2FragmAlways),   "IKE2_FRAGM_ALWAYS"},
    end};

const Variant SERVERS_POLICY_VARIANTS[] = {
    {0, cell(Text::serversFirst),        "SERVERS_POLICY_FIRST"},
    {1, cell(Text::serversSequentially), "SERVERS_POLICY_SEQ"},
    {2, cell(Text::serversParallel2),    "SERVERS_POLICY_PAR2"},
    {4, cell(Text::serversParallel4),    "SERVERS_POLICY_PAR4"},
    {8, cell(Text::serversParallel8),    "SERVERS_POLICY_PAR8"},
    end};

const Variant PUZZLES_POLICY_VARIANTS[] = {
    {0, cell(Text::puzzlesNever),       "PUZZLES_POLICY_NEVER"},
    {2, cell(Text::puzzlesAlways),      "PUZZLES_POLICY_ALWAYS"},
    {3, cell(Text::puzzlesAlwaysInit),  "PUZZLES_POLICY_ALWAYS_INIT"},
    {4, cell(Text::puzzlesUnderAttack), "PUZZLES_POLICY_AUTO"},
    end};

const Variant MOBIKE_RRCHECK_VARIANTS[] = {
    {0, cell(Text::rrcheckDont),    "0"},
    {1, cell(Text::rrcheckUdpOnly), "1"},
    {2, cell(Text::rrcheckAlways),  "2"},
    end};

const Variant ERRNTF_POLICY_VARIANTS[] = {
    {0,   cell(Text::errorsNever),    "ERRNTF_POLICY_NEVER"},
    {1,   cell(Text::errorsLimit1),   "ERRNTF_POLICY_1"},
    {10,  cell(Text::errorsLimit10),  "ERRNTF_POLICY_10"},
    {100, cell(Text::errorsLimit100), "ERRNTF_POLICY_100"},
    {-1,  cell(Text::errorsAlways),   "ERRNTF_POLICY_ALWAYS"},
    end};

const Variant ANTI_REPLAY_WINDOW_SIZE_VARIANTS[] = {
    {0,    cell(Text::antiReplayDisabled), "0"},
    {32,   cell(Text::window32),           "1*32"},
    {64,   cell(Text::window64),           "2*32"},
    {128,  cell(Text::window128),          "4*32"},
    {256,  cell(Text::window256),          "8*32"},
    {512,  cell(Text::window512),          "16*32"},
    {1024, cell(Text::window1024),         "32*32"},
    {2048, cell(Text::window2048),         "64*32"},
    end};

const Variant TFC_PADDING_VARIANTS[] = {
    {0, cell(Text::off), "TFC_PADDING_OFF"},
    {1, cell(Text::on),  "TFC_PADDING_ON"},
    end};

const Variant IKECFG_DNS_MODE_VARIANTS[] = {
    {0, cell(Text::dnsDisable),      "IKECFG_DNS_DISABLE"},
    {1, cell(Text::dnsEnable),       "IKECFG_DNS_ENABLE"},
    {2, cell(Text::dnsEnableBefore), "IKECFG_DNS_ENABLE_BEFORE"},
    {3, cell(Text::dnsEnableAfter),  "IKECFG_DNS_ENABLE_AFTER"},
    end};

const Variant CRL_PROC_VARIANTS[] = {
    {0, cell(Text::crlDisabled),    "CRL_DISABLE"},
    {1, cell(Text::crlEnabled),     "CRL_ENABLE"},
    {2, cell(Text::crlEnabledSoft), "CRL_ENABLE_SOFT"},
    end};

const Variant LOG_LEVEL_VARIANTS[] = {
    {0, cell(Text::logDisabled), "_LL_DISABLED"},
    {1, cell(Text::logEvents),   "_LL_EVENTS"},
    {2, cell(Text::logDetails),  "_LL_DETAILS"},
    {3, cell(Text::logDebug),    "_LL_VERBOSE"},
    end};

const Variant LOG_LANGUAGE_VARIANTS[] = {
    {0, cell(Text::english), "LOG_LANG_ENG"},
    {1, cell(Text::russian), "LOG_LANG_RUS"},
    end};

// The values are Windows code-page numbers.
const Variant ENCODINGS_VARIANTS[] = {
    {20866, cell(Text::koi8r),   "CONVI_KOI8R"},
    {866,   cell(Text::dos866),  "CONVI_DOS"},
    {1251,  cell(Text::win1251), "CONVI_1251"},
    {65001, cell(Text::utf8),    "CONVI_UTF8"},
    end};

// The values are IP protocol numbers.
const Variant SYSLOG_PROTO_VARIANTS[] = {
    {17, cell(Text::udp), "IPPROTO_UDP"},
    {6,  cell(Text::tcp), "IPPROTO_TCP"},
    end};

const Variant PMP_ID_TYPE_VARIANTS[] = {
    {0, cell(Text::idKeyId),    "PMPID_KEY_ID"},
    {5, cell(Text::idKeyIdHex), "PMPID_KEY_ID_HEX"},
    {1, cell(Text::idIp),       "PMPID_IP"},
    {2, cell(Text::idDns),      "PMPID_DNS"},
    {3, cell(Text::idEmail),    "PMPID_EMAIL"},
    {4, cell(Text::idDn),       "PMPID_DN"},
    end};

const Variant PMP_AUTH_VARIANTS[] = {
    {0, cell(Text::authSignature),    "PMPAUTH_SIG"},
    {1, cell(Text::authPresharedKey), "PMPAUTH_PSK"},
    end};

const Variant IKETCP_MODE_VARIANTS[] = {
    {0, cell(Text::off), "0"},
    {1, cell(Text::on),  "1"},
    {2, &tcpForced,      "2"},
    end};

// The values are bit sets: 1 = on, 64 = start from the NAT-T port, 128 = force UDP encapsulation.
const Variant NATT_POLICY_VARIANTS[] = {
    {0,   cell(Text::nattDisabled),   "NATT_POLICY_DISABLED"},
    {1,   cell(Text::nattAutodetect), "NATT_POLICY_STD"},
    {65,  &nattFromPort,              "NATT_POLICY_STD_PORT"},
    {129, cell(Text::nattForcedUdp),  "NATT_POLICY_STD_FORCE"},
    {193, &nattFromPortForced,        "NATT_POLICY_STD_PORT_FORCE"},
    end};

const Variant REDIRECT_POLICY_VARIANTS[] = {
    {0, cell(Text::redirectsDisabled), "REDIRECT_DISABLED"},
    {1, &redirectAuthenticated,        "REDIRECT_AUTH"},
    {2, &redirectAlways,               nullptr}, // the configuration has no name for it, only the number
    end};

const Variant LSP_SOURCE_VARIANTS[] = {
    {0, cell(Text::sourceDdp),  "SOURCE_DDP"},
    {1, cell(Text::file),       "SOURCE_FILE"},
    {2, cell(Text::sourcePmp),  "SOURCE_PMP"},
    {3, cell(Text::sourceTrom), "SOURCE_TPN"},
    {4, &sourceHttp,            "SOURCE_HTTP"},
    {5, &sourceGate,            "SOURCE_GATE"},
    end};

const Variant MIXED_TRANSPORT_VARIANTS[] = {
    {0, &mixedOff,    "MIXED_TRANSPORT_OFF"},
    {1, &mixedAlways, "MIXED_TRANSPORT_ALWAYS"},
    {2, &mixedAuto,   "MIXED_TRANSPORT_AUTO"},
    end};

const Variant REDIRECT_EXTIP_VARIANTS[] = {
    {0, &extIpNever,         "REDIRECT_EXTIP_NEVER"},
    {1, &extIpAuthenticated, "REDIRECT_EXTIP_AUTH"},
    {2, &extIpAlways,        "REDIRECT_EXTIP_ALWAYS"},
    end};
// clang-format on

} // namespace LPARAMS

namespace panelkit {

std::span<const VariantTable> variantTables() {
    using namespace LPARAMS;
    static const std::array tables = {
        // clang-format off
        VariantTable{"IKE1_STATUS_VARIANTS", IKE1_STATUS_VARIANTS},
        VariantTable{"IKE2_STATUS_VARIANTS", IKE2_STATUS_VARIANTS},
        VariantTable{"IKE2_FRAGM_VARIANTS", IKE2_FRAGM_VARIANTS},
        VariantTable{"SERVERS_POLICY_VARIANTS", SERVERS_POLICY_VARIANTS},
        VariantTable{"PUZZLES_POLICY_VARIANTS", PUZZLES_POLICY_VARIANTS},
        VariantTable{"MOBIKE_RRCHECK_VARIANTS", MOBIKE_RRCHECK_VARIANTS},
        VariantTable{"ERRNTF_POLICY_VARIANTS", ERRNTF_POLICY_VARIANTS},
        VariantTable{"ANTI_REPLAY_WINDOW_SIZE_VARIANTS", ANTI_REPLAY_WINDOW_SIZE_VARIANTS},
        VariantTable{"TFC_PADDING_VARIANTS", TFC_PADDING_VARIANTS},
        VariantTable{"IKECFG_DNS_MODE_VARIANTS", IKECFG_DNS_MODE_VARIANTS},
        VariantTable{"CRL_PROC_VARIANTS", CRL_PROC_VARIANTS},
        VariantTable{"LOG_LEVEL_VARIANTS", LOG_LEVEL_VARIANTS},
        VariantTable{"LOG_LANGUAGE_VARIANTS", LOG_LANGUAGE_VARIANTS},
        VariantTable{"ENCODINGS_VARIANTS", ENCODINGS_VARIANTS},
        VariantTable{"SYSLOG_PROTO_VARIANTS", SYSLOG_PROTO_VARIANTS},
        VariantTable{"PMP_ID_TYPE_VARIANTS", PMP_ID_TYPE_VARIANTS},
        VariantTable{"PMP_AUTH_VARIANTS", PMP_AUTH_VARIANTS},
        VariantTable{"IKETCP_MODE_VARIANTS", IKETCP_MODE_VARIANTS},
        VariantTable{"NATT_POLICY_VARIANTS", NATT_POLICY_VARIANTS},
        VariantTable{"REDIRECT_POLICY_VARIANTS", REDIRECT_POLICY_VARIANTS},
        VariantTable{"LSP_SOURCE_VARIANTS", LSP_SOURCE_VARIANTS},
        VariantTable{"MIXED_TRANSPORT_VARIANTS", MIXED_TRANSPORT_VARIANTS},
        VariantTable{"REDIRECT_EXTIP_VARIANTS", REDIRECT_EXTIP_VARIANTS},
        // clang-format on
    };
    return tables;
}

} // namespace panelkit

namespace LPARAMS {

const char* Variant::getName(int wanted, const char* dflt) const {
    const Variant* row = panelkit::findVariant(this, wanted);
    return row ? *row->text : dflt;
}

int Variant::getValue(const char* wanted, int dflt) const {
    if (!wanted) return dflt;
    for (const Variant* row = this; row->text; ++row) {
        if (platform::equalIgnoringCase(*row->text, wanted)) return row->value;
    }
    return dflt;
}

} // namespace LPARAMS

namespace panelkit {

const LPARAMS::Variant* findVariant(const LPARAMS::Variant* table, int value) {
    for (; table->text; ++table) {
        if (table->value == value) return table;
    }
    return nullptr;
}

} // namespace panelkit
