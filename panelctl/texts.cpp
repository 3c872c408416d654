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

    Row{Say::groupConfig,           "The service's configuration: typed parameters in sections"},
    Row{Say::verbConfigList,        "List parameters with their values"},
    Row{Say::verbConfigGet,         "Print the value of a parameter"},
    Row{Say::verbConfigDescribe,    "Tell what a parameter means and what it may be"},
    Row{Say::verbConfigDiff,        "Show what differs from the defaults"},
    Row{Say::verbConfigExport,      "Print the configuration as a file that 'apply' takes"},
    Row{Say::verbConfigSet,         "Change a parameter"},
    Row{Say::verbConfigReset,       "Set parameters to their defaults"},
    Row{Say::verbConfigPlan,        "Show what 'apply' would change, and change nothing"},
    Row{Say::verbConfigApply,       "Change what differs from a file: everything of it, or nothing"},
    Row{Say::verbConfigCommit,      "Make permanent what was changed; until then a restart of the service forgets it"},
    Row{Say::argumentParameter,     "SECTION.KEY, whatever the case"},
    Row{Say::argumentParameters,    "Sections, or parameters as SECTION.KEY; all when none is named"},
    Row{Say::argumentResets,        "Sections, or parameters as SECTION.KEY"},
    Row{Say::argumentValue,         "The value as 'list' shows it; of a choice its text, or =NUMBER. Not for secrets"},
    Row{Say::argumentConfigFile,    "JSON file, as 'export' prints it; - is standard input"},
    Row{Say::optionReveal,          "Show secrets"},
    Row{Say::optionCommit,          "Make it permanent at once, with everything else that was changed before"},
    Row{Say::optionCheckDiff,       "Exit with code 55 when anything differs"},
    Row{Say::optionCheckPlan,       "Exit with code 55 when anything would change"},
    Row{Say::optionResetAll,        "Reset all sections"},
    Row{Say::headingValue,          "VALUE"},
    Row{Say::headingDefault,        "DEFAULT"},
    Row{Say::headingNow,            "NOW"},
    Row{Say::headingNew,            "NEW"},
    Row{Say::headingBefore,         "BEFORE"},
    Row{Say::headingMeaning,        "MEANING"},
    Row{Say::headingNumber,         "NUMBER"},
    Row{Say::headingChoice,         "CHOICE"},
    Row{Say::headingSymbol,         "SYMBOLIC NAME"},
    Row{Say::fieldLabel,            "label"},
    Row{Say::fieldHelp,             "help"},
    Row{Say::fieldValue,            "value"},
    Row{Say::fieldDefault,          "default"},
    Row{Say::fieldLegal,            "legal"},
    Row{Say::valueUnknown,          "(%s)"},
    Row{Say::secretValue,           "value"},
    Row{Say::promptValue,           "New %s of %s: "},
    Row{Say::noSuchSection,         "there is no section \"%s\""},
    Row{Say::noSuchKey,             "section %s has no key \"%s\""},
    Row{Say::keyMissing,            "\"%1$s\" is a section; 'panelctl config list %1$s' lists its parameters"},
    Row{Say::valueMissing,          "%1$s needs a value; 'panelctl config describe %1$s' tells which"},
    Row{Say::valueTwice,            "%s is given a value in two ways"},
    Row{Say::valueIsSecret,         "%s is a secret, which no argument may hold: leave it out to be asked, or use --value-stdin, --value-fd or --value-file"},
    Row{Say::valueIsNoSecret,       "%s is no secret: its value stands behind its name"},
    Row{Say::valueIllegal,          "%s: \"%s\" is not legal; legal: %s"},
    Row{Say::valueBreaksConstraint, "%s: \"%s\" is not legal: %s"},
    Row{Say::maskGiven,             "%s: \"***\" is what is shown instead of a secret, and no secret"},
    Row{Say::nothingToReset,        "say what to reset: sections, parameters, or --all"},
    Row{Say::jsonUnfit,             "%1$s: %2$s is no value for it; in JSON it is %3$s"},
    Row{Say::jsonFlag,              "true or false"},
    Row{Say::jsonNumber,            "an integer"},
    Row{Say::jsonChoice,            "a number, a symbolic name in quotes, or {\"value\": NUMBER, \"name\": NAME}"},
    Row{Say::jsonText,              "a text in quotes"},
    Row{Say::jsonGateways,          "a list of objects with texts as GATE_ADDRESS, CERT_SUBJECT and DST_SELECTOR"},
    Row{Say::standardInput,       "standard input"},
    Row{Say::fileTooLarge,          "%s is larger than %s bytes"},
    Row{Say::fileNoJson,            "%s: this is no JSON"},
    Row{Say::fileNoObject,          "a configuration is an object: {\"SECTION\": {\"KEY\": value}}"},
    Row{Say::fileNameTwice,         "\"%s\" stands twice in one object"},
    Row{Say::fileVersion,           "schema %s is unknown; this panelctl reads schema 1"},
    Row{Say::fileSectionNoObject,   "section %s is no object: {\"KEY\": value}"},
    Row{Say::fileFaults,            "%s faults; nothing was changed"},
    Row{Say::sectionLonger,         "section %s holds more than this panelctl knows; are it and the service of the same version?"},
    Row{Say::noDifference,          "Everything has its default."},
    Row{Say::nothingChanges,        "Nothing changes."},
    Row{Say::wouldChangeCount,      "%s parameters would change"},
    Row{Say::differCount,           "%s parameters differ from their defaults"},
    Row{Say::changesWritten,        "Written, but not permanent: 'panelctl config commit' makes it so."},
    Row{Say::changesCommitted,      "The configuration is permanent."},
    Row{Say::commitFailed,          "the changes are written, but could not be made permanent: %s"},
    Row{Say::serviceMakesSecret,  "The service makes a new secret when the configuration is committed: %s."},
    Row{Say::interrupted,         "interrupted"},
    Row{Say::leftOutSecrets,        "Left out: %s (--reveal exports secrets)."},
    Row{Say::leftOutTexts,          "Left out: %s (text that is no UTF-8, which JSON can't carry)."},
    Row{Say::readBackDiffers,       "%s: the service took the value, but holds \"%s\""},
    Row{Say::configUntouched,       "%s; nothing was changed"},
    Row{Say::configRestored,        "%s; what was written before is taken back: %s"},
    Row{Say::configNotRestored,     "%s; this could NOT be taken back: %s"},
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
