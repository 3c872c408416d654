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

    // network interfaces
    Row{Say::groupNet,            "The network interfaces of the host"},
    Row{Say::verbNetList,         "List the interfaces and their IPv4 addresses"},
    Row{Say::headingInterface,    "NAME"},
    Row{Say::headingAddresses,    "ADDRESSES"},
    Row{Say::headingHardware,     "HARDWARE ADDRESS"},
    Row{Say::headingDescription,  "DESCRIPTION"},
    Row{Say::interfaceUp,         "up"},
    Row{Say::interfaceNoLink,     "up, no link"},
    Row{Say::interfaceDown,       "down"},
    Row{Say::noInterfaces,        "The host has no network interfaces."},
    Row{Say::groupPolicy,      "The local security policy: what is in force, and where it is taken from"},
    Row{Say::verbPolicyStatus, "Say in a line which policy is in force"},
    Row{Say::verbPolicyShow,   "Show the policy in force, and the required one where it is another"},
    Row{Say::verbPolicyView,   "Print the text of the policy in force"},
    Row{Say::verbPolicyExplain, "Compare the policy in force with the required one, field by field"},
    Row{Say::verbPolicyActivate, "Activate the system's, a user's or the default driver policy, or the current one again"},
    Row{Say::verbPolicySource, "Where the policy is taken from"},
    Row{Say::verbPolicySourceGet, "Show the settings of the policy source"},
    Row{Say::verbPolicySourceSet, "Change settings of the policy source; what is not named stays as it is"},
    Row{Say::argumentPolicy,   "Which policy"},
    Row{Say::optionPolicyName, "Name of the policy, as the service knows it"},
    Row{Say::optionPolicyOfUser, "Whose policy, with \"user\"; yours unless given"},
    Row{Say::optionSourceOfUser, "The settings of a user instead of the system's; yours, also in your own file, unless a name is given"},
    Row{Say::optionSource,     "DDP, File, PMP... or a symbolic name such as SOURCE_FILE, or =NUMBER"},
    Row{Say::optionPolicyFile, "Path of the policy file"},
    Row{Say::optionPolicyServer, "Address of the policy server"},
    Row{Say::optionPolicyLogLevel, "Log level of the policy exchange"},
    Row{Say::optionPolicyAuth, "How the server is authenticated: certificate or preshared-key"},
    Row{Say::optionPolicyIdType, "Type of the identity shown to the server"},
    Row{Say::optionPolicyIdValue, "The identity"},
    Row{Say::optionPolicySubject, "Subject of the certificate used towards the server"},
    Row{Say::optionPolicyKey,  "Name of the preshared key used towards the server"},
    Row{Say::optionPolicyTimeout, "Seconds after which the policy exchange is given up"},
    Row{Say::headingRequired,  "REQUIRED"},
    Row{Say::headingInForce,   "IN FORCE"},
    Row{Say::headingDiffers,   "DIFFERS"},
    Row{Say::headingSetting,   "SETTING"},
    Row{Say::headingValue,     "VALUE"},
    Row{Say::policyDriver,     "default driver policy"},
    Row{Say::policySystemLocal, "system policy of this host"},
    Row{Say::policySystemFile, "system policy from a file"},
    Row{Say::policySystemServer, "system policy from a server"},
    Row{Say::policySystemOther, "system policy from elsewhere"},
    Row{Say::policyUserFile,   "user policy from a file"},
    Row{Say::policyUserServer, "user policy from a server"},
    Row{Say::policyUserLocal,  "user policy of this host"},
    Row{Say::policyDropAll,    "drop all"},
    Row{Say::policyDropAllExceptDhcp, "drop all except DHCP"},
    Row{Say::policyPassAll,    "pass all"},
    Row{Say::policyByKey,      "preshared key"},
    Row{Say::policyByCertificate, "certificate"},
    Row{Say::policyFieldType,  "type"},
    Row{Say::policyFieldDriver, "driver mode"},
    Row{Say::policyFieldUser,  "user"},
    Row{Say::policyFieldSource, "source"},
    Row{Say::policyFieldFile,  "file"},
    Row{Say::policyFieldServer, "server"},
    Row{Say::policyFieldLogLevel, "log level"},
    Row{Say::policyFieldAuth,  "authentication"},
    Row{Say::policyFieldIdType, "identity type"},
    Row{Say::policyFieldIdValue, "identity"},
    Row{Say::policyFieldSubject, "subject"},
    Row{Say::policyFieldKey,   "preshared key"},
    Row{Say::policyFieldTimeout, "time-out"},
    Row{Say::policyFieldEntry, "entry"},
    Row{Say::policySeconds,    "%s s"},
    Row{Say::policyDiagnosis,  "Diagnosis: %s"},
    Row{Say::policyDiffers,    "yes"},
    Row{Say::policyDiffersHarmlessly, "yes, without effect"},
    Row{Say::policyIsRequired, "The policy in force is the required one."},
    Row{Say::policyIsAnother,  "The policy in force is not the required one."},
    Row{Say::policyIsFromConfigDb, "It was taken from the service's configuration database, which does not count as the required policy."},
    Row{Say::policyIsLoading,  "A new policy is being loaded."},
    Row{Say::policySystemActivated, "The system policy is activated."},
    Row{Say::policyUserActivated, "The user policy is activated."},
    Row{Say::policyDriverActivated, "The default driver policy is activated."},
    Row{Say::policyCurrentActivated, "The current policy is activated again."},
    Row{Say::policyNotActivated, "the service did not activate the policy: %s"},
    Row{Say::policyUserUnfit,  "--user does not go with \"%s\""},
    Row{Say::policySettingsNotApplied, "the service did not take the settings over"},
    Row{Say::policySystemSourceSet, "The policy source of the system is set."},
    Row{Say::policyUserSourceSet, "The policy source of the user is set."},
    Row{Say::policyNothingToSet, "nothing is to be set; name a setting, such as --source"},
    Row{Say::policySourceNeeds, "the settings would lack a fit value; give %s"},
    Row{Say::policyBadChoice,  "%s: \"%s\" is none of: %s"},
    Row{Say::policyFileNotWritten, "the service has the settings, but your own file does not: %s"},
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
