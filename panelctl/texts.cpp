// SPDX-License-Identifier: MIT
#include <panelctl/texts.h>

#include <array>
#include <cstddef>

namespace panelctl {

namespace {

struct Row {
    Say name;
    const char* wording;
};

// clang-format off
constexpr std::array rows = {
    Row{Say::about,               "Administers the VPN service on this host: its tokens, certificates, configuration and policy."},
    Row{Say::epilogue,            "'panelctl GROUP --help' lists the verbs of a group, 'panelctl GROUP VERB --help' the options of a verb. Global options are taken before or after the verb."},
    Row{Say::optionEndpoint,      "Socket (named pipe) of the service; else PANELKIT_BRIDGE, else the system's service"},
    Row{Say::optionJson,          "Print the result as JSON"},
    Row{Say::optionTimeout,       "Seconds of silence after which the service is given up; 0 waits for ever"},
    Row{Say::optionColour,        "Use no colours"},
    Row{Say::optionVersion,       "Print the versions of library, protocol and service"},
    Row{Say::errorPrefix,         "panelctl: %s"},
    Row{Say::unknownWord,         "\"%s\" is not understood"},
    Row{Say::verbsAre,            "\"%s\" knows: %s"},
    Row{Say::verbMissing,         "\"%s\" needs one of: %s"},
    Row{Say::didYouMean,          "did you mean \"%s\"?"},
    Row{Say::tryHelp,             "\"%s --help\" tells more"},
    Row{Say::badReply,            "the service sent a reply that ends early; are library and service of the same version?"},
    Row{Say::versionLibrary,      "library   %s"},
    Row{Say::versionProtocol,     "protocol  %s"},
    Row{Say::versionService,      "service   %s"},
    Row{Say::versionNoService,    "service   (%s)"},

    Row{Say::groupProvider,       "PKCS#11 providers: the modules through which tokens are reached"},
    Row{Say::verbProviderList,    "List the providers in their order"},
    Row{Say::verbProviderLoad,    "Load a PKCS#11 module as a provider"},
    Row{Say::verbProviderUnload,  "Unload a provider"},
    Row{Say::verbProviderRaise,   "Move a provider one place up in the order"},
    Row{Say::argumentProvider,    "Name or path of the provider"},
    Row{Say::argumentModule,      "Absolute path of the module"},
    Row{Say::optionProviderName,  "Name of the provider; made from the file name unless given"},
    Row{Say::optionRemember,      "Load it again at every start of the service"},
    Row{Say::headingName,         "NAME"},
    Row{Say::headingState,        "STATE"},
    Row{Say::headingTokens,       "TOKENS"},
    Row{Say::headingModule,       "MODULE"},
    Row{Say::headingPath,         "PATH"},
    Row{Say::stateLoaded,         "loaded"},
    Row{Say::stateEmbedded,       "embedded"},
    Row{Say::stateNotLoaded,      "not loaded: %s"},
    Row{Say::noProviders,         "There are no providers."},
    Row{Say::noSuchProvider,      "there is no provider \"%s\""},
    Row{Say::providerLoaded,      "Provider \"%s\" is loaded."},
    Row{Say::providerRemembered,  "Provider \"%s\" is loaded, now and at every start of the service."},
    Row{Say::providerUnloaded,    "Provider \"%s\" is unloaded."},
    Row{Say::providerRaised,      "Provider \"%s\" is one place up."},

    Row{Say::groupToken,          "Tokens: smart cards, USB keys, and keys in software"},
    Row{Say::verbTokenList,       "List the tokens that are there"},
    Row{Say::verbTokenLogin,      "Log the service in to a token"},
    Row{Say::verbTokenLogout,     "Log the service out of a token"},
    Row{Say::verbTokenInit,       "Initialise a token: erases it, and sets its label, SO PIN and PIN"},
    Row{Say::verbTokenChangePin,  "Change the PIN of a token"},
    Row{Say::verbTokenSeed,       "Seed a token's random-number generator, from the system's or from a file"},
    Row{Say::verbTokenReload,     "Load all providers anew; this logs the service out of all tokens"},
    Row{Say::argumentToken,       "Label, serial number or PKCS#11 URI of the token"},
    Row{Say::optionOfProvider,    "Only tokens of this provider"},
    Row{Say::optionLabel,         "The token's new label, 1 to 32 bytes"},
    Row{Say::optionYes,           "Do it without asking"},
    Row{Say::optionFinalTry,      "Try the PIN also when a wrong one would lock the token"},
    Row{Say::optionSecurityOfficer, "Change the SO PIN instead"},
    Row{Say::optionSeedFile,      "Take the seed from this file"},
    Row{Say::headingLabel,        "LABEL"},
    Row{Say::headingSerial,       "SERIAL"},
    Row{Say::headingProvider,     "PROVIDER"},
    Row{Say::headingModel,        "MODEL"},
    Row{Say::stateUninitialized,  "not initialised"},
    Row{Say::stateLoggedIn,       "logged in"},
    Row{Say::stateReady,          "ready"},
    Row{Say::stateNoPin,          "no PIN yet"},
    Row{Say::stateWrongPinBefore, "a wrong PIN was entered"},
    Row{Say::stateFinalTry,       "one PIN try remains"},
    Row{Say::stateLocked,         "PIN locked"},
    Row{Say::stateSoFinalTry,     "one SO PIN try remains"},
    Row{Say::stateSoLocked,       "SO PIN locked"},
    Row{Say::stateWriteProtected, "write-protected"},
    Row{Say::noTokens,            "There are no tokens."},
    Row{Say::noSuchToken,         "there is no token \"%s\""},
    Row{Say::noUninitializedToken, "there is no token that is not initialised; name the one to erase"},
    Row{Say::ambiguousToken,      "\"%s\" is the name of several tokens; say which by serial number or URI:"},
    Row{Say::nameTheToken,        "there are several tokens; say which by label, serial number or URI:"},
    Row{Say::candidate,           "  %s"},
    Row{Say::badUri,              "the PKCS#11 URI has an attribute that tokens do not have: \"%s\""},
    Row{Say::tokenLoggedIn,       "Logged in to token \"%s\"."},
    Row{Say::tokenWasLoggedIn,    "The service is logged in to token \"%s\" already."},
    Row{Say::tokenLoggedOut,      "Logged out of token \"%s\"."},
    Row{Say::tokenInitialized,    "Token \"%s\" is initialised."},
    Row{Say::tokenPinChanged,     "The PIN of token \"%s\" is changed."},
    Row{Say::tokenSeeded,         "The random-number generator of token \"%s\" is seeded."},
    Row{Say::tokensReloaded,      "All providers are loaded anew; the service is logged out of all tokens."},
    Row{Say::reloadLogsOut,       "This logs the service out of: %s"},
    Row{Say::eraseWarning,        "Token \"%s\" (serial number %s) will be erased with all certificates and keys on it."},
    Row{Say::erasePrompt,         "Type its label to go on: "},
    Row{Say::eraseNotConfirmed,   "the label was not typed; nothing was erased"},
    Row{Say::eraseNeedsYes,       "token \"%s\" is initialised; --yes erases it without asking"},
    Row{Say::tokenChanged,        "another token is there now; nothing was done"},
    Row{Say::finalTryNote,        "One try remains for token \"%s\": a wrong PIN locks it."},
    Row{Say::finalTryPrompt,      "Type \"yes\" to try: "},
    Row{Say::finalTryNeedsOption, "one try remains for token \"%s\", a wrong PIN would lock it; --final-try tries all the same"},
    Row{Say::wordYes,             "yes"},

    Row{Say::optionSecretStdin,   "Read the %s as a line of standard input"},
    Row{Say::optionSecretFd,      "Read the %s from this file descriptor"},
    Row{Say::optionSecretFile,    "Read the %s from this file"},
    Row{Say::secretPin,           "PIN"},
    Row{Say::secretNewPin,        "new PIN"},
    Row{Say::secretSoPin,         "SO PIN"},
    Row{Say::secretNewSoPin,      "new SO PIN"},
    Row{Say::promptSecret,        "%s of token \"%s\": "},
    Row{Say::promptAgain,         "The same again: "},
    Row{Say::secretsDiffer,       "the two are not the same; nothing was changed"},
    Row{Say::secretMissing,       "the %1$s is missing: there is no terminal to ask at; use --%2$s-stdin, --%2$s-fd or --%2$s-file"},
    Row{Say::secretUnreadable,    "the %s can't be read from %s"},
    Row{Say::secretEmpty,         "the %s is empty"},
    Row{Say::secretTwice,         "the %s is given in more than one way"},

    Row{Say::groupWatch,          "Report what happens in the service, until Ctrl-C"},
    Row{Say::optionWatchFor,      "End after so many seconds"},
    Row{Say::optionWatchCount,    "End after so many events"},
    Row{Say::watchBegins,         "Watching; Ctrl-C ends it."},
    Row{Say::watchWaits,          "The service is not there; waiting for it. Ctrl-C ends it."},
    Row{Say::watchMissed,         "Meanwhile: %s"},
    Row{Say::watchServiceCame,    "The service is there."},
    Row{Say::watchServiceWent,    "The service is gone; waiting for it."},
    Row{Say::watchServiceStopping, "The service is stopping."},
    Row{Say::watchProviderLoaded, "Provider \"%s\" is loaded."},
    Row{Say::watchProviderUnloaded, "Provider \"%s\" is not loaded any more."},
    Row{Say::watchTokenArrived,   "Token \"%s\" (serial number %s) is there."},
    Row{Say::watchTokenRemoved,   "Token \"%s\" (serial number %s) is gone."},
    Row{Say::watchTokenInitialized, "Token \"%s\" (serial number %s) is initialised."},
    Row{Say::watchTokenLoggedIn,  "The service is logged in to token \"%s\" (serial number %s)."},
    Row{Say::watchTokenLoggedOut, "The service is logged out of token \"%s\" (serial number %s)."},
    Row{Say::watchConfiguration,  "%s committed the configuration: %s."},
    Row{Say::watchConfigurationChanged, "The configuration has changed: %s."},
    Row{Say::watchPolicyActivated, "Policy %s is in force."},
    Row{Say::watchPolicyFailed,   "Policy %s could not be activated: %s"},
    Row{Say::watchCertificateExpires, "Certificate \"%s\" on token \"%s\" expires in %s days."},
    Row{Say::watchCertificateExpired, "Certificate \"%s\" on token \"%s\" has expired."},
};
// clang-format on

static_assert([] {
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (static_cast<std::size_t>(rows[i].name) != i) return false;
    }
    return rows.size() == static_cast<std::size_t>(Say::count_);
}());

} // namespace

const char* text(Say what) { return rows[static_cast<std::size_t>(what)].wording; }

std::string phrase(Say what, std::initializer_list<std::string_view> with) {
    std::string filled;
    std::size_t next = 0;
    for (std::string_view rest = text(what); !rest.empty();) {
        const std::size_t mark = rest.find('%');
        filled += rest.substr(0, mark);
        if (mark == std::string_view::npos) break;
        rest.remove_prefix(mark + 1);
        const bool numbered = rest.size() >= 3 && rest[1] == '$' && rest[2] == 's';
        const std::size_t which = numbered ? static_cast<std::size_t>(rest[0] - '1') : next++;
        rest.remove_prefix(numbered ? 3 : 1);
        if (which < with.size()) filled += with.begin()[which];
    }
    return filled;
}

std::string phrase(Say what) { return text(what); }

} // namespace panelctl
