// SPDX-License-Identifier: MIT
#include <panelkit/loc/registered_texts.h>

#include <platform/loccore/module_texts.h>

#include <array>

const char*& registerText(const char* text) { return Loc::ModuleTexts::of("panelkit").add(text); }

namespace panelkit {

namespace {

// What a text is. None of them is an entry of the table: adding one would change the table's stamp and so make existing
// translations invalid.
constexpr const char* choice = "a choice";
constexpr const char* parameterText = "a label or help of a parameter";
constexpr const char* checkMessage = "the message of a check across the parameters of a group";
constexpr const char* legalValue = "says which values of a parameter are legal";
constexpr const char* valueError = "the error for a value that is not legal";

// clang-format off
constexpr std::array texts = {
    // choices: registered by their variant tables when the library is loaded
    RegisteredText{"Force",                                                              choice},        // IKETCP_MODE
    RegisteredText{"Start from NAT-T port",                                              choice},        // NATT_POLICY
    RegisteredText{"Start from NAT-T port & force UDP encapsulation",                    choice},
    RegisteredText{"Process Redirects only after server authentication",                 choice},        // REDIRECT_POLICY
    RegisteredText{"Always process Redirects",                                           choice},
    RegisteredText{"HTTP",                                                               choice},        // LSP_SOURCE
    RegisteredText{"GATE",                                                               choice},
    RegisteredText{"OFF",                                                                choice},        // MIXED_TRANSPORT
    RegisteredText{"ALWAYS",                                                             choice},
    RegisteredText{"AUTO",                                                               choice},
    RegisteredText{"Accept Redirects only to IP addresses from LSP",                     choice},        // REDIRECT_EXTIP
    RegisteredText{"Accept Redirects to any IP address only from authenticated servers", choice},
    RegisteredText{"Accept Redirects to any IP address",                                 choice},

    // labels, helps and the one message: registered by the constructor of the group
    RegisteredText{"Administrators group name",                                          parameterText}, // ADMIN
    RegisteredText{"CMS sign cert",                                                      parameterText},
    RegisteredText{"Act as client only",                                                 parameterText}, // IKE
    RegisteredText{"Use mixed transport mode",                                           parameterText},
    RegisteredText{"Maximum allowed number of Redirects while establishing IKE SA",      parameterText},
    RegisteredText{"Redirects to IP addresses not listed in LSP",                        parameterText},
    RegisteredText{"Accept Redirects to IP addresses not listed in LSP",                 parameterText},
    RegisteredText{"Param malformed: '%s'Multiple CPUs can be provided as a comma-separated list with no space: 0,1. "
                   "Ranges of CPUs are specified with -: 0-2.",                          checkMessage},  // PCAP

    // legal values, and the error for others: looked up when they are shown
    RegisteredText{"any text",                                                           legalValue},
    RegisteredText{"an IPv4 or IPv6 address, a host name, or nothing",                   legalValue},
    RegisteredText{"ALL; numbers and ranges up to 2047, such as 0,2-3; a hexadecimal mask, such as 0x5",  legalValue},
    RegisteredText{"an even number of 16 to 40 of the digits 0123456789absdefABCDEF; no; auto; nothing",  legalValue},
    RegisteredText{"a time of day, such as 10:00 or 10:00:00; seconds, such as 36000s",  legalValue},
    RegisteredText{"gateways separated by \";\", each GATE_ADDRESS CERT_SUBJECT DST_SELECTOR; "
                   "a word that is empty or has blanks is in double quotes",             legalValue},
    RegisteredText{"a section",                                                          legalValue},
    RegisteredText{"a key of the section",                                               legalValue},
    RegisteredText{"\"%s\" is not legal; legal: %s",                                     valueError},
    RegisteredText{"; nearest: %s",                                                      valueError},
};
// clang-format on

} // namespace

std::span<const RegisteredText> registeredTexts() { return texts; }

const char* registeredText(const char* wording) { return Loc::ModuleTexts::of("panelkit").translated(wording); }

} // namespace panelkit
