// SPDX-License-Identifier: MIT
//
// Parameters as text: prints values, reads them from what people type or files hold, and says exactly what is wrong
// when a text can't be read. One pair of functions for all kinds; panelctl and a graphical front end share them.
//
//   IKE ike;
//   if (auto error = parseParam(ike, ike.EXCHANGE_TIMEOUT, "301")) std::cerr << describe(*error) << '\n';
//   // IKE.EXCHANGE_TIMEOUT: "301" is not legal; legal: 5..300; nearest: 300
//
//   kind         text
//   BoolParam    "on" and "off"; read too: true, false, yes, no, 1, 0, in any case
//   numbers      decimal digits, within the bounds
//   EnumParam    the choice in the current language, or =NUMBER; stored: the number, the symbolic name, or both
//   AddrParam    an IPv4 or IPv6 address or a host name; may be empty
//   CPUsParam    what CPUsParam::checkFormat takes
//   QcdSParam    what QcdSParam::checkFormat takes, "no", "auto", or nothing
//   TimeParam    "10:00" or "10:00:00"; a value that is not a time of day is printed, and read, as seconds: "90000s"
//   ParamVector  gateways separated by ";", each three words separated by blanks: GATE_ADDRESS CERT_SUBJECT
//                DST_SELECTOR. A word in double quotes may hold anything, with a backslash before quotes and
//                backslashes
//   StStParam    the text itself
//
// For every value, reading the printed text back returns the same value.
#pragma once

#include <panelkit/lparams/param_group.h>

#include <optional>
#include <string>
#include <string_view>

namespace panelkit {

// Who reads the text. Choices differ: a file must not depend on the language that people's choices are shown in.
enum class TextForm : unsigned char {
    display, // people: "Auto" (or =1)
    stored,  // files and JSON: "1 IKE2_FRAGM_AUTO" is printed; "1" and "IKE2_FRAGM_AUTO" are read too
};

// Why a text could not be taken. Front ends make their own message from it, or use describe().
struct ParamError {
    std::string section; // empty: there is no such section
    std::string key;     // empty: the section has no such key
    std::string text;    // the text that was given; "***" for a secret
    std::string legal;   // what is legal: the bounds, the choices, the format
    std::string nearest; // the legal text nearest to `text`; empty when none is near

    // The message of the section's constraint that the text breaks; says more than a list of what is legal. Set only by
    // SectionBody.
    std::string constraint{};

    bool operator==(const ParamError&) const = default;
};
// Returns the error as a text for people, in the current language.
PANELKIT_EXPORT std::string describe(const ParamError& error);

// Returns the value as text. A secret is printed like any other value; to mask it, use showParam.
PANELKIT_EXPORT std::string printParam(const LPARAMS::Client::Param& param, TextForm form = TextForm::display);

// Whether a parameter holds a secret: front ends take it without showing it, and mask it wherever they print it.
PANELKIT_EXPORT bool isSecret(std::string_view section, std::string_view key);

// What is printed in place of a secret.
inline constexpr const char* secretMask = "***";

// As printParam in display form, with the mask for a secret (isSecret). A QCD secret that is "no" or
// "auto" is not one yet.
PANELKIT_EXPORT std::string showParam(const LPARAMS::Client::ParamGroup& group, const LPARAMS::Client::Param& param);

// Returns the default as text.
PANELKIT_EXPORT std::string printDefault(const LPARAMS::Client::Param& param, TextForm form = TextForm::display);

// Sets the value to the default.
PANELKIT_EXPORT void resetParam(LPARAMS::Client::Param& param);

// Sets the value from a text. If the text is not legal, the value is unchanged and the error says why. The text of the
// present value is always accepted, even when the value came from the service and is out of bounds.
PANELKIT_EXPORT std::optional<ParamError> parseParam(const LPARAMS::Client::ParamGroup& group,
                                                     LPARAMS::Client::Param& param, std::string_view text,
                                                     TextForm form = TextForm::display);

// Returns what is legal for a parameter, for display: "5..300"; choices in the current language.
PANELKIT_EXPORT std::string legalValues(const LPARAMS::Client::Param& param, TextForm form = TextForm::display);

} // namespace panelkit
