// SPDX-License-Identifier: MIT
//
// Every text of panelctl's own that people read, as a table that can be translated. A text is reached by name; its
// wording is read when it is shown.
//
// To add a text: a name in Say, its wording at the same place in texts.cpp, and its translations (po/README.md). A "%s"
// stands for what the phrase is given, in order; where a translation may need another order, the wording says "%1$s",
// "%2$s". Any other % stands for itself.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace panelctl {

enum class Say : std::uint16_t {
    // about the program
    about,
    epilogue,
    optionEndpoint,
    optionJson,
    optionTimeout,
    optionColour,
    optionVersion,
    errorPrefix,
    unknownWord,
    verbsAre,
    verbMissing,
    didYouMean,
    tryHelp,
    badReply,
    versionLibrary,
    versionProtocol,
    versionService,
    versionNoService,

    // providers
    groupProvider,
    verbProviderList,
    verbProviderLoad,
    verbProviderUnload,
    verbProviderRaise,
    argumentProvider,
    argumentModule,
    optionProviderName,
    optionRemember,
    headingName,
    headingState,
    headingTokens,
    headingModule,
    headingPath,
    stateLoaded,
    stateEmbedded,
    stateNotLoaded,
    noProviders,
    noSuchProvider,
    providerLoaded,
    providerRemembered,
    providerUnloaded,
    providerRaised,

    // tokens
    groupToken,
    verbTokenList,
    verbTokenLogin,
    verbTokenLogout,
    verbTokenInit,
    verbTokenChangePin,
    verbTokenSeed,
    verbTokenReload,
    argumentToken,
    optionOfProvider,
    optionLabel,
    optionYes,
    optionFinalTry,
    optionSecurityOfficer,
    optionSeedFile,
    headingLabel,
    headingSerial,
    headingProvider,
    headingModel,
    stateUninitialized,
    stateLoggedIn,
    stateReady,
    stateNoPin,
    stateWrongPinBefore,
    stateFinalTry,
    stateLocked,
    stateSoFinalTry,
    stateSoLocked,
    stateWriteProtected,
    noTokens,
    noSuchToken,
    noUninitializedToken,
    ambiguousToken,
    nameTheToken,
    candidate,
    badUri,
    tokenLoggedIn,
    tokenWasLoggedIn,
    tokenLoggedOut,
    tokenInitialized,
    tokenPinChanged,
    tokenSeeded,
    tokensReloaded,
    reloadLogsOut,
    eraseWarning,
    erasePrompt,
    eraseNotConfirmed,
    eraseNeedsYes,
    tokenChanged,
    finalTryNote,
    finalTryPrompt,
    finalTryNeedsOption,
    wordYes,

    // secrets
    optionSecretStdin,
    optionSecretFd,
    optionSecretFile,
    secretPin,
    secretNewPin,
    secretSoPin,
    secretNewSoPin,
    promptSecret,
    promptAgain,
    secretsDiffer,
    secretMissing,
    secretUnreadable,
    secretEmpty,
    secretTwice,

    // language and help
    optionLanguage,
    noTranslation,
    catalogueProblem,
    helpUsage,
    helpOptionsBadge,
    helpVerbBadge,
    helpArguments,
    helpOptions,
    helpVerbs,
    helpRequired,
    helpOption,
    valueText,
    valueNumber,
    valueMissing,
    valueUnfit,
    argumentMissing,
    optionRequires,
    optionExcludes,

    // completion
    groupCompletion,
    verbCompletionBash,
    verbCompletionZsh,

    count_, // how many there are
};

// The current wording.
const char* text(Say what);

// The wording with its "%s" filled in.
std::string phrase(Say what, std::initializer_list<std::string_view> with);
std::string phrase(Say what);

} // namespace panelctl
