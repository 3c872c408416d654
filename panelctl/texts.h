// SPDX-License-Identifier: MIT
//
// Every text of panelctl's own that people read, as a table that can be translated. A text is reached by name; its
// wording is read when it is shown.
//
// To add a text: a name in Say, and its wording at the same place in texts.cpp. A "%s" stands for what the phrase is
// given, in order; a translation may use "%1$s", "%2$s" to change that.
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

    // watching
    groupWatch,
    optionWatchFor,
    optionWatchCount,
    watchBegins,
    watchWaits,
    watchMissed,
    watchServiceCame,
    watchServiceWent,
    watchServiceStopping,
    watchProviderLoaded,
    watchProviderUnloaded,
    watchTokenArrived,
    watchTokenRemoved,
    watchTokenInitialized,
    watchTokenLoggedIn,
    watchTokenLoggedOut,
    watchConfiguration,
    watchConfigurationChanged,
    watchPolicyActivated,
    watchPolicyFailed,
    watchCertificateExpires,
    watchCertificateExpired,

    count_, // how many there are
};

// The current wording.
const char* text(Say what);

// The wording with its "%s" filled in.
std::string phrase(Say what, std::initializer_list<std::string_view> with);
std::string phrase(Say what);

} // namespace panelctl
