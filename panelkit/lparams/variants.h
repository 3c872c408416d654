// SPDX-License-Identifier: MIT
//
// Variant tables: the values that an enumerated parameter can take, in the order in which a front end lists the
// choices. A table is an array that ends with a row whose text is null; its operations are called on its first row.
//
//   LOG_LEVEL_VARIANTS->getName(2, "?")              "Details", or its translation
//   LOG_LEVEL_VARIANTS->getValue("details", -1)      2
//
// Tables stay as they are for the life of the process; a translation changes what their texts' cells hold.
#pragma once

#include <platform/export.h>

#include <cstdint>
#include <span>

namespace LPARAMS {

struct PANELKIT_EXPORT Variant {
    std::int32_t value;
    const char* const* text; // the cell of the display text; null ends the table
    const char* name;        // what the service's configuration calls the value; may be null

    // The display text of the first row that has the value; `dflt`, which may be null, when none has.
    const char* getName(int wanted, const char* dflt) const;

    // The value of the first row with that display text, in the current language and whatever the case of ASCII
    // letters; `dflt` when there is none. Symbolic names are not looked at. Choose a default that is no value of the
    // table to tell bad input.
    int getValue(const char* wanted, int dflt) const;
};

extern PANELKIT_EXPORT const Variant IKE1_STATUS_VARIANTS[];
extern PANELKIT_EXPORT const Variant IKE2_STATUS_VARIANTS[];
extern PANELKIT_EXPORT const Variant IKE2_FRAGM_VARIANTS[];
extern PANELKIT_EXPORT const Variant SERVERS_POLICY_VARIANTS[];
extern PANELKIT_EXPORT const Variant PUZZLES_POLICY_VARIANTS[];
extern PANELKIT_EXPORT const Variant MOBIKE_RRCHECK_VARIANTS[];
extern PANELKIT_EXPORT const Variant ERRNTF_POLICY_VARIANTS[];
extern PANELKIT_EXPORT const Variant ANTI_REPLAY_WINDOW_SIZE_VARIANTS[];
extern PANELKIT_EXPORT const Variant TFC_PADDING_VARIANTS[];
extern PANELKIT_EXPORT const Variant IKECFG_DNS_MODE_VARIANTS[];
extern PANELKIT_EXPORT const Variant CRL_PROC_VARIANTS[];
extern PANELKIT_EXPORT const Variant LOG_LEVEL_VARIANTS[];
extern PANELKIT_EXPORT const Variant LOG_LANGUAGE_VARIANTS[];
extern PANELKIT_EXPORT const Variant ENCODINGS_VARIANTS[];
extern PANELKIT_EXPORT const Variant SYSLOG_PROTO_VARIANTS[];
extern PANELKIT_EXPORT const Variant PMP_ID_TYPE_VARIANTS[];
extern PANELKIT_EXPORT const Variant PMP_AUTH_VARIANTS[];
extern PANELKIT_EXPORT const Variant IKETCP_MODE_VARIANTS[];
extern PANELKIT_EXPORT const Variant NATT_POLICY_VARIANTS[];
extern PANELKIT_EXPORT const Variant REDIRECT_POLICY_VARIANTS[];
extern PANELKIT_EXPORT const Variant LSP_SOURCE_VARIANTS[];
extern PANELKIT_EXPORT const Variant MIXED_TRANSPORT_VARIANTS[];
extern PANELKIT_EXPORT const Variant REDIRECT_EXTIP_VARIANTS[];

} // namespace LPARAMS

namespace panelkit {

// The first row of a table that has the value; null when none has. Files carry value and name of it.
PANELKIT_EXPORT const LPARAMS::Variant* findVariant(const LPARAMS::Variant* table, int value);

// A variant table under its name, for what lists them all.
struct VariantTable {
    const char* name; // "LOG_LEVEL_VARIANTS"
    const LPARAMS::Variant* rows;
};
PANELKIT_EXPORT std::span<const VariantTable> variantTables();

} // namespace panelkit
