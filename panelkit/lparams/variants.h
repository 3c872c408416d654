// SPDX-License-Identifier: MIT
//
// Variant tables: the values that an enumerated parameter can have, in the order in which a front end lists the
// choices. A table is an array that ends with a row whose text is null; its functions are called on its first row.
//
//   LOG_LEVEL_VARIANTS->getName(2, "?")              "Details", or its translation
//   LOG_LEVEL_VARIANTS->getValue("details", -1)      2
//
// Tables never change; a translation changes the texts to which they point.
#pragma once

#include <platform/export.h>

#include <cstdint>
#include <span>

namespace LPARAMS {

struct PANELKIT_EXPORT Variant {
    std::int32_t value;
    const char* const* text; // the cell of the display text; null ends the table
    const char* name;        // the value's name in the service's configuration; may be null

    // Returns the display text of the first row with the value; `dflt`, which may be null, when there is none.
    const char* getName(int wanted, const char* dflt) const;

    // Returns the value of the first row with that display text in the current language, without regard to ASCII case;
    // `dflt` when there is none. Symbolic names are not compared. To detect bad input, choose a default that is not a
    // value of the table.
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

// Returns the first row of a table with the value; null when there is none. Files store its value and name.
PANELKIT_EXPORT const LPARAMS::Variant* findVariant(const LPARAMS::Variant* table, int value);

// A variant table and its name, for code that lists all tables.
struct VariantTable {
    const char* name; // "LOG_LEVEL_VARIANTS"
    const LPARAMS::Variant* rows;
};
PANELKIT_EXPORT std::span<const VariantTable> variantTables();

} // namespace panelkit
