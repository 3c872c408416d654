// SPDX-License-Identifier: MIT
#include <panelctl/texts.h>

#include <panelctl/text_module.h>
#include <panelctl/text_table.h>

#include <algorithm>
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

    Row{Say::optionLanguage,      "Language of the texts, \"en\" or \"ru\"; else that of the system"},
    Row{Say::noTranslation,       "there is no translation into \"%s\""},
    Row{Say::catalogueProblem,    "a part of the texts stays in English: %s"},
    Row{Say::helpUsage,           "Usage"},
    Row{Say::helpOptionsBadge,    "OPTIONS"},
    Row{Say::helpVerbBadge,       "VERB"},
    Row{Say::helpArguments,       "Arguments"},
    Row{Say::helpOptions,         "Options"},
    Row{Say::helpVerbs,           "Verbs"},
    Row{Say::helpRequired,        "(required)"},
    Row{Say::helpOption,          "Print this help"},
    Row{Say::valueText,           "TEXT"},
    Row{Say::valueNumber,         "NUMBER"},
    Row{Say::optionNeedsValue,        "%s needs a value"},
    Row{Say::valueUnfit,          "\"%2$s\" is no value for %1$s"},
    Row{Say::argumentMissing,     "%s is required"},
    Row{Say::optionRequires,      "%s requires %s"},
    Row{Say::optionExcludes,      "%s excludes %s"},

    Row{Say::groupCompletion,     "Completion of command lines in shells"},
    Row{Say::verbCompletionBash,  "Print the script for bash: source <(panelctl completion bash)"},
    Row{Say::verbCompletionZsh,   "Print the script for zsh: source <(panelctl completion zsh)"},

    Row{Say::groupDoctor,         "Look for what is wrong, and say what helps"},
    Row{Say::headingCheck,        "CHECK"},
    Row{Say::headingFound,        "FOUND"},
    Row{Say::healthGood,          "ok"},
    Row{Say::healthPassedOver,    "not checked"},
    Row{Say::healthWarning,       "warning"},
    Row{Say::healthBad,           "problem"},
    Row{Say::checkService,        "service"},
    Row{Say::checkRights,         "rights"},
    Row{Say::checkVersions,       "versions"},
    Row{Say::checkProviders,      "providers"},
    Row{Say::checkTokens,         "tokens"},
    Row{Say::checkCertificates,   "certificates"},
    Row{Say::checkLanguage,       "language"},
    Row{Say::checkLocale,         "locale"},
    Row{Say::doctorUnreached,     "the service can't be reached"},
    Row{Say::doctorNoAnswer,      "the service does not say"},
    Row{Say::doctorAnswers,       "%s answers at %s"},
    Row{Say::doctorVersions,      "library %s, service %s"},
    Row{Say::doctorMayUse,        "this account may use the service"},
    Row{Say::doctorProviders,     "all loaded: %s"},
    Row{Say::doctorNoTokens,      "there is no initialised token"},
    Row{Say::doctorLocked,        "PIN locked: %s"},
    Row{Say::doctorFinalTry,      "one PIN try remains: %s"},
    Row{Say::doctorTokens,        "ready: %s"},
    Row{Say::doctorExpired,       "expired: %s"},
    Row{Say::doctorExpiring,      "expiring within 30 days: %s"},
    Row{Say::doctorCertificates,  "good for 30 days and more: %s"},
    Row{Say::doctorLanguageFrom,  "%s, from %s"},
    Row{Say::doctorLocale,        "%s, code page %s"},
    Row{Say::doctorNoConsole,     "there is no console"},
    Row{Say::doctorNoLocale,      "no locale is set; text goes out in UTF-8"},
    Row{Say::doctorStrangeLocale, "the locale %s is not installed; text goes out in UTF-8"},
    Row{Say::doctorSickness,      "problems found: %s"},
    Row{Say::doctorAttention,     "warnings: %s"},
    Row{Say::remedyStart,         "start the service (systemctl start panelkitd), or name its socket with --endpoint"},
    Row{Say::remedyAccess,        "have an administrator add this account to the service's group of users"},
    Row{Say::remedyVersions,      "install library and service of the same version"},
    Row{Say::remedyStranger,      "enter no PIN; find out who runs the service at this endpoint"},
    Row{Say::remedyEndpoint,      "correct --endpoint or the environment variable PANELKIT_BRIDGE"},
    Row{Say::remedyLog,           "look into the log of the service (journalctl -u panelkitd), and restart it"},
    Row{Say::remedyLoadProvider,  "load a PKCS#11 module: panelctl provider load MODULE"},
    Row{Say::remedyProvider,      "install or mend the module, then load all providers anew: panelctl token reload"},
    Row{Say::remedyToken,         "insert a token, or initialise one: panelctl token init --label LABEL"},
    Row{Say::remedyLocked,        "have the token unlocked with its SO PIN, or initialise it anew"},
    Row{Say::remedyFinalTry,      "make sure of the PIN, then log in with --final-try: panelctl token login"},
    Row{Say::remedyRenew,         "request a new certificate and import it: panelctl cert request"},
    Row{Say::remedyCatalogue,     "install the translations of this version into share/locale beside the program"},
    Row{Say::remedyNoLocale,      "set LANG to a locale that is installed; locale -a lists them"},
    Row{Say::remedyStrangeLocale, "install it (locale-gen), or set LANG to one that is; locale -a lists them"},

    Row{Say::failureAccessDenied, "access denied"},
    Row{Say::failureVersion,      "the service speaks another version of the protocol"},
    Row{Say::failureTimedOut,     "the service does not answer"},
    Row{Say::failureLost,         "the connection to the service was lost"},
    Row{Say::failureNoService,    "the service isn't running"},
    Row{Say::failureRefused,      "the service refused the command"},
    Row{Say::failureTooLarge,     "the request is too large"},
    Row{Say::failureStranger,     "the service is run by an account that is not trusted"},
    Row{Say::failureOverloaded,   "the service accepts no more sessions"},
    Row{Say::failureEndpoint,     "the endpoint can't be used"},
};
// clang-format on

static_assert([] {
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (static_cast<std::size_t>(rows[i].name) != i) return false;
    }
    return rows.size() == static_cast<std::size_t>(Say::count_);
}());

using Cells = std::array<const char*, rows.size()>;

constexpr Cells wordings() {
    Cells made{};
    std::transform(rows.begin(), rows.end(), made.begin(), [](const Row& row) { return row.wording; });
    return made;
}

// What is shown: the wordings above until a translation takes their places.
constinit Cells cells = wordings();

constexpr std::array<const char**, rows.size()> addresses() {
    std::array<const char**, rows.size()> index{};
    std::transform(cells.begin(), cells.end(), index.begin(), [](const char*& cell) { return &cell; });
    return index;
}

constinit std::array<const char**, rows.size()> cellIndex = addresses();

// A place to be filled at the start of `rest`, which follows a %: its length, and which it is, counted from 0.
struct Place {
    std::size_t length = 0; // 0: there is none
    std::size_t which = 0;
};

Place placeAt(std::string_view rest, std::size_t& next) {
    if (rest.starts_with('s')) return {1, next++};
    const bool numbered = rest.size() >= 3 && rest[0] >= '1' && rest[0] <= '9' && rest.substr(1, 2) == "$s";
    return numbered ? Place{3, static_cast<std::size_t>(rest[0] - '1')} : Place{};
}

} // namespace

constinit const CCLocLoader::Localization localization = {
    .count = static_cast<std::uint32_t>(rows.size()),
    .bitsPerUnit = 8,
    .stamp = textTableStamp,
    .index = cellIndex.data(),
    .reserved = 0,
};

const char* defaultWording(Say what) { return rows[static_cast<std::size_t>(what)].wording; }

const char* text(Say what) { return cells[static_cast<std::size_t>(what)]; }

std::string phrase(Say what, std::initializer_list<std::string_view> with) {
    std::string filled;
    std::size_t next = 0;
    for (std::string_view rest = text(what); !rest.empty();) {
        const std::size_t mark = rest.find('%');
        filled += rest.substr(0, mark);
        if (mark == std::string_view::npos) break;
        rest.remove_prefix(mark + 1);
        const Place place = placeAt(rest, next);
        rest.remove_prefix(place.length);
        if (place.length == 0) filled += '%';
        if (place.length != 0 && place.which < with.size()) filled += with.begin()[place.which];
    }
    return filled;
}

std::string phrase(Say what) { return text(what); }

} // namespace panelctl
