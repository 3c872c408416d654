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
    Row{Say::groupCert,            "Certificates on tokens, and in files"},
    Row{Say::verbCertList,         "List the certificates on the tokens"},
    Row{Say::verbCertShow,         "Show everything about a certificate"},
    Row{Say::verbCertChain,        "Show the certificates that a certificate builds on"},
    Row{Say::verbCertVerify,       "Verify a certificate: its time, its chain, its purpose, and whether it is revoked"},
    Row{Say::verbCertImport,       "Import certificates from a file, with their private keys if it has them"},
    Row{Say::verbCertExport,       "Write a certificate to a file or to standard output"},
    Row{Say::verbCertDelete,       "Delete a certificate from its token; its private key stays"},
    Row{Say::verbCertRequest,      "Make a certificate request, with a key pair on a token"},
    Row{Say::verbCertReload,       "Read the contents of the tokens anew"},
    Row{Say::argumentCert,         "The certificate: its label, subject or a part of that, serial number, fingerprint, or PKCS#11 URI"},
    Row{Say::optionOnToken,        "Only those on this token: label, serial number or PKCS#11 URI"},
    Row{Say::optionToToken,        "The token that it goes to: label, serial number or PKCS#11 URI"},
    Row{Say::optionWithKey,        "Only those whose private key is on the token"},
    Row{Say::optionAuthorities,    "Only those of authorities (CAs)"},
    Row{Say::optionOthers,         "Only those that have no private key here and are no authority's"},
    Row{Say::optionExpired,        "Only those that have expired"},
    Row{Say::optionExpiring,       "Only those that expire within a period such as 30d (h, d, w, y) or have expired; exit code 61 when there are any"},
    Row{Say::optionWholeText,      "Print the service's whole description of it"},
    Row{Say::optionPurpose,        "What it has to be good for"},
    Row{Say::optionCrlRequired,    "Fail unless a current CRL is there for every authority of the chain"},
    Row{Say::optionNoCrl,          "Do not look at CRLs"},
    Row{Say::optionForget,         "Forget the parsed files of all sessions too"},

    Row{Say::headingCertName,      "NAME"},
    Row{Say::headingIssuer,        "ISSUER"},
    Row{Say::headingCertSerial,    "SERIAL"},
    Row{Say::headingExpires,       "EXPIRES"},
    Row{Say::headingDays,          "DAYS"},
    Row{Say::headingKey,           "KEY"},
    Row{Say::headingToken,         "TOKEN"},
    Row{Say::headingCertState,     "STATE"},
    Row{Say::headingChain,         "CHAIN"},
    Row{Say::keyPresent,           "yes"},
    Row{Say::certValid,            "valid"},
    Row{Say::certNotYetValid,      "not yet valid"},
    Row{Say::certExpired,          "expired"},
    Row{Say::certRevoked,          "revoked"},
    Row{Say::certUnreadable,       "unreadable"},
    Row{Say::serialNumberIs,       "serial number %s"},
    Row{Say::fingerprintIs,        "fingerprint %s"},
    Row{Say::noCerts,              "There are no such certificates."},
    Row{Say::noneExpires,          "No certificate expires within that time."},
    Row{Say::someExpire,           "%1$s certificates expire within %2$s or have expired"},
    Row{Say::badPeriod,            "\"%s\" is no period; write a number and h, d, w or y, as in 30d"},
    Row{Say::noSuchCert,           "there is no certificate \"%s\""},
    Row{Say::noCertOfExactName,    "there is no certificate of just the name \"%s\", and with --yes a part of a name does not do"},
    Row{Say::ambiguousObject,      "\"%s\" fits several; say which by what comes first in a line, or with --token:"},
    Row{Say::certCandidate,        "  %1$s  %2$s, valid to %3$s, on token \"%4$s\""},
    Row{Say::crlCandidate,         "  %1$s  %2$s, of %3$s, on token \"%4$s\""},
    Row{Say::keyCandidate,         "  \"%1$s\" on token \"%2$s\""},
    Row{Say::fileCandidate,        "  %1$s  %2$s"},

    Row{Say::factSubject,          "Subject"},
    Row{Say::factIssuer,           "Issuer"},
    Row{Say::factSerial,           "Serial number"},
    Row{Say::factState,            "State"},
    Row{Say::factRevokedAt,        "Revoked at"},
    Row{Say::factValidFrom,        "Valid from"},
    Row{Say::factValidTo,          "Valid to"},
    Row{Say::factToken,            "Token"},
    Row{Say::factLabel,            "Label"},
    Row{Say::factKeyId,            "Key identifier"},
    Row{Say::factKey,              "Key"},
    Row{Say::factPrivateKey,       "Private key"},
    Row{Say::factSignature,        "Signature"},
    Row{Say::factSubjectNames,     "Alternative names"},
    Row{Say::factIssuerNames,      "Issuer's names"},
    Row{Say::factConstraints,      "Basic constraints"},
    Row{Say::factKeyUsage,         "Key usage"},
    Row{Say::factExtendedUsage,    "Extended usage"},
    Row{Say::factSubjectKeyId,     "Subject key id"},
    Row{Say::factAuthorityKeyId,   "Authority key id"},
    Row{Say::factPolicies,         "Policies"},
    Row{Say::factCrlPoints,        "CRLs at"},
    Row{Say::factAuthorityAccess,  "Authority at"},
    Row{Say::timeWithDays,         "%1$s (days left: %2$s)"},
    Row{Say::keyAbsent,            "not on the token"},
    Row{Say::keyOnTokenStays,      "on the token, which does not let it out"},
    Row{Say::keyOnTokenLeaves,     "on the token, can be exported"},
    Row{Say::chainEndsEarly,       "The chain is not complete: the certificate of its next authority is on no token: %s"},
    Row{Say::certVerifies,         "Certificate \"%s\" verifies."},
    Row{Say::certDoesNotVerify,    "certificate \"%1$s\" does not verify: %2$s"},
    Row{Say::certsReloaded,        "The contents of the tokens are read anew."},
    Row{Say::noReason,             "the service did not do it, and gave no reason"},

    Row{Say::argumentImportFile,   "File: PEM, DER, PKCS#7 or PKCS#12"},
    Row{Say::optionOnly,           "Only this certificate of the file: subject or a part of it, serial number, or fingerprint"},
    Row{Say::optionListFile,       "Show what is in the file, and import nothing"},
    Row{Say::optionNoKey,          "Leave private keys out"},
    Row{Say::optionNoChain,        "Leave the authorities that the certificate builds on out"},
    Row{Say::optionExtractable,    "Let the token hand out the private key later"},
    Row{Say::secretPassword,       "password"},
    Row{Say::secretNewPassword,    "new password"},
    Row{Say::promptSecretOfFile,   "%s of %s: "},
    Row{Say::promptSecretOfCert,   "%s for certificate \"%s\": "},
    Row{Say::secretTooLong,        "the %s is longer than %s bytes"},
    Row{Say::fileMissing,          "%s: there is no such file"},
    Row{Say::fileIsFolder,         "%s is a folder"},
    Row{Say::fileIsSpecial,        "%s is no plain file"},
    Row{Say::fileIsEmpty,          "%s is empty"},
    Row{Say::fileTooLarge,         "%1$s is too large to be sent to the service: %2$s MiB, and at most %3$s MiB can be"},
    Row{Say::fileUnreadable,       "%s can't be read"},
    Row{Say::fileExists,           "%s exists already; nothing was written"},
    Row{Say::fileUnknownFormat,    "%s is neither a certificate nor a CRL in a format that the service knows"},
    Row{Say::filePasswordWrong,    "the password of %s is wrong or missing"},
    Row{Say::fileNothingUsable,    "%s holds neither a certificate nor a CRL"},
    Row{Say::fileTooCostly,        "%s is refused: opening it would take too long, or it holds too many objects"},
    Row{Say::fileHasCrls,          "%2$s holds CRLs too (%1$s of them): \"panelctl crl import\" imports them."},
    Row{Say::fileHasOnlyCrls,      "%s holds no certificate; \"panelctl crl import\" imports its CRLs"},
    Row{Say::fileHasNoSuch,        "%1$s holds no certificate \"%2$s\""},
    Row{Say::fileHasNoCrl,         "%s holds no CRL"},
    Row{Say::fileHoldsCrl,         "and a CRL of %s"},
    Row{Say::certImported,         "Certificate \"%1$s\" is imported to token \"%2$s\"."},
    Row{Say::certImportedWithChain, "Certificate \"%1$s\" is imported to token \"%2$s\", with the authorities that it builds on."},
    Row{Say::objectRefused,        "token \"%2$s\" refused \"%1$s\""},
    Row{Say::itemGone,             "the service has forgotten the file that \"%1$s\" is in; import it again"},
    Row{Say::certAlreadyThere,     "certificate \"%1$s\" is on token \"%2$s\" already"},
    Row{Say::importNeedsLogin,     "token \"%2$s\" needs a log-in: \"panelctl token login\", or give its PIN with --pin-stdin, --pin-fd or --pin-file"},
    Row{Say::importWrongPin,       "the PIN is not that of token \"%2$s\""},
    Row{Say::importPinLocked,      "the PIN of token \"%2$s\" is locked"},
    Row{Say::tokenIsFull,          "token \"%2$s\" is full"},
    Row{Say::importModeUnfit,      "\"%1$s\" can't be imported this way: the file does not have what was asked for"},
    Row{Say::tokenIsGone,          "token \"%2$s\" is not there any more"},
    Row{Say::tokenWriteProtected,  "token \"%2$s\" is write-protected"},
    Row{Say::keyNotSupported,      "token \"%2$s\" can't hold a key such as that of \"%1$s\""},
    Row{Say::tokenNeedsLogin,      "token \"%2$s\" needs a log-in: \"panelctl token login\""},
    Row{Say::optionExportFormat,   "Format; pem, or pkcs12 with --key, unless given"},
    Row{Say::optionExportChain,    "With the certificates of its chain (pkcs7, pkcs12)"},
    Row{Say::optionExportKey,      "With its private key (pkcs12)"},
    Row{Say::optionOutput,         "Write to this new file instead of standard output"},
    Row{Say::binaryToTerminal,     "the result is no text for a terminal; use --output, or send standard output elsewhere"},
    Row{Say::certExported,         "Certificate \"%1$s\" is written to %2$s."},
    Row{Say::certGone,             "certificate \"%1$s\" is not on token \"%2$s\" any more"},
    Row{Say::exportFormatUnfit,    "certificate \"%1$s\" can't be written in this format"},
    Row{Say::exportKeyStays,       "token \"%2$s\" does not let the private key of \"%1$s\" out"},
    Row{Say::exportPasswordUnfit,  "the password does not do for \"%1$s\""},
    Row{Say::deletePrompt,         "Type \"%s\" to go on: "},
    Row{Say::deleteNotConfirmed,   "the name was not typed; nothing was deleted"},
    Row{Say::deleteNeedsYes,       "\"%s\" would be deleted; --yes deletes it without asking"},
    Row{Say::certDeleteWarning,    "Certificate %1$s (serial number %2$s) will be deleted from token \"%3$s\"."},
    Row{Say::certDeleteKeyWarning, "Certificate %1$s (serial number %2$s) will be deleted from token \"%3$s\"; its private key stays there."},
    Row{Say::certDeleted,          "Certificate \"%1$s\" is deleted from token \"%2$s\"."},
    Row{Say::objectGone,           "\"%s\" is not there any more; nothing was done"},

    Row{Say::optionListKeys,       "List the keys that the token can make for a request"},
    Row{Say::optionCommonName,     "Common name"},
    Row{Say::optionUnit,           "Organizational unit"},
    Row{Say::optionOrganization,   "Organization"},
    Row{Say::optionLocality,       "Locality"},
    Row{Say::optionState,          "State or province"},
    Row{Say::optionCountry,        "Country, two letters"},
    Row{Say::optionAlternativeName, "Alternative name such as DNS:gate.example, IP:192.0.2.1 or email:a@b.example; can be repeated"},
    Row{Say::optionKeyUsage,       "Key usages asked for, such as digitalSignature,keyEncipherment,ipsecIKE"},
    Row{Say::optionKeyType,        "Type and size of the key, such as rsa:3072 or ec:256"},
    Row{Say::optionDigest,         "Digest that the request is signed with"},
    Row{Say::optionKeyLabel,       "Label of the new key pair; the common name unless given"},
    Row{Say::optionExistingKey,    "Sign with the key pair of this label instead of making one"},
    Row{Say::optionDer,            "Write DER instead of PEM"},
    Row{Say::badKeyUsage,          "\"%s\" is no key usage"},
    Row{Say::keyNotOffered,        "the token makes no key \"%1$s\" for a request; it offers %2$s"},
    Row{Say::digestNotOffered,     "the token does not sign with %1$s here; it offers %2$s"},
    Row{Say::headingDigests,       "DIGESTS"},
    Row{Say::noKeyChoices,         "The token can make no key for a request."},
    Row{Say::requestMade,          "The request is written to %1$s; its key pair \"%2$s\" is on token \"%3$s\"."},
    Row{Say::requestKeyStays,      "the key pair \"%1$s\" is on token \"%2$s\" all the same: --existing-key makes the request again"},
    Row{Say::requestKeyUnfit,      "token \"%2$s\" can't make or use such a key"},
    Row{Say::requestSubjectUnfit,  "the request needs a name that X.509 takes"},
    Row{Say::requestNoSuchKey,     "there is no key pair \"%1$s\" on token \"%2$s\""},

    Row{Say::groupCrl,             "Certificate revocation lists (CRLs)"},
    Row{Say::verbCrlList,          "List the CRLs on the tokens"},
    Row{Say::verbCrlImport,        "Import the CRLs of a file"},
    Row{Say::verbCrlDelete,        "Delete a CRL from its token"},
    Row{Say::argumentCrl,          "The CRL: its issuer or a part of that, or its fingerprint"},
    Row{Say::optionOutdated,       "Only those whose next update is overdue"},
    Row{Say::headingCrlNumber,     "NUMBER"},
    Row{Say::headingThisUpdate,    "OF"},
    Row{Say::headingNextUpdate,    "NEXT"},
    Row{Say::headingRevoked,       "REVOKED"},
    Row{Say::never,                "never"},
    Row{Say::noCrls,               "There are no such CRLs."},
    Row{Say::noSuchCrl,            "there is no CRL of \"%s\""},
    Row{Say::crlImported,          "The CRL of \"%1$s\" is imported to token \"%2$s\"."},
    Row{Say::crlAlreadyThere,      "the CRL of \"%1$s\" is on token \"%2$s\" already"},
    Row{Say::crlOlder,             "token \"%2$s\" has a newer CRL of \"%1$s\" already"},
    Row{Say::crlSignatureWrong,    "the CRL is not signed by \"%1$s\""},
    Row{Say::crlDeleteWarning,     "The CRL of %1$s, which revokes %2$s certificates, will be deleted from token \"%3$s\": they may count as good again."},
    Row{Say::crlDeleted,           "The CRL of \"%1$s\" is deleted from token \"%2$s\"."},

    Row{Say::groupPsk,             "Preshared keys"},
    Row{Say::verbPskList,          "List the preshared keys on the tokens"},
    Row{Say::verbPskCreate,        "Create a preshared key on a token"},
    Row{Say::verbPskDelete,        "Delete a preshared key from its token"},
    Row{Say::argumentNewKey,       "Name of the new key, 1 to 64 characters"},
    Row{Say::argumentKey,          "Name of the key"},
    Row{Say::secretValue,          "value"},
    Row{Say::promptSecretOfKey,    "%s of key \"%s\": "},
    Row{Say::noKeys,               "There are no preshared keys."},
    Row{Say::noSuchKey,            "there is no preshared key \"%s\""},
    Row{Say::keyCreated,           "Preshared key \"%1$s\" is created on token \"%2$s\"."},
    Row{Say::keyDeleteWarning,     "Preshared key \"%1$s\" will be deleted from token \"%2$s\"."},
    Row{Say::keyDeleted,           "Preshared key \"%1$s\" is deleted from token \"%2$s\"."},

    Row{Say::resultUnknown,        "the service answered with result %s, which this panelctl does not know"},
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
