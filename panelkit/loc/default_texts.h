// SPDX-License-Identifier: MIT
//
// The names of the default texts: every fixed text that the library shows and that can be translated has one. A text is
// read from its cell when it is shown and is never copied, so a translation takes effect as soon as it is loaded.
//
//   message = text(Text::serviceIsntRunning);
//
// Only loading a translation (panelkit/loc/ui_module.h) writes the cells. Loading and reading both belong to the front
// end's one thread. For the wordings and the rules of the table see default_texts.cpp.
#pragma once

#include <platform/export.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace panelkit {

// In the order of the table. Translations refer to an entry by its position.
enum class Text : std::uint16_t {
    // clang-format off
    activated, activeDpdIdleTimeHelp, activeDpdIdleTime, empty, diagnosis, requiredPolicy, sourceOfPolicy,
    typeDefaultDriverPolicy, typeSystemPolicy, typeUserPolicy, dropAllExceptDhcp, dropAll, passAll,
    fromConfigDb, expiredTemplateHelp, expiredTemplate, willExpireTemplateHelp, willExpireTemplate, window1024,
    window128, window2048, window256, window32, window512, window64, activatedAt, persistentSaHelp,
    ipsecOverTcp, ike2FragmAlways, puzzlesAlways, puzzlesAlwaysInit, verifyDownloadsHelp,
    fcacheAlwaysInvalidateHelp, errorsAlways, verifyDownloads, antiReplayDisabled, askAdministratorPassword,
    oneProtocolMustBeEnabled, ike2FragmAuto, nattAutodetect, backupDepth, emailBcc, wall,
    cantGetUserLspSettings, cantOpenBridgeSession, cantReadUserLspFile, cantSendCommand, tokenRemovedCommand,
    threadsMaskHelp, crlProcessing, crlTimeout, currentPolicy, daysToExpire, sourceDdp, logDebug,
    debugApplication, debugKernel, defaultDriverPolicyIsActive, syslogDestination, logDetails, dnsDisable,
    crlDisabled, ike2FragmDisabled, logDisabled, nattDisabled, idDn, idDns, rrcheckAlways, rrcheckUdpOnly,
    rrcheckDont, fwdPktNoQueueHelp, dos866, downloadPath, dpdIdleTimeHelp, dpdIdleTime, idEmail,
    emailSubjectHelp, dnsEnable, crlProcessingHelp, enableMonitoring, snmpLog, dnsEnableAfter, dnsEnableBefore,
    sendEmailHelp, enableMonitoringHelp, pktListHelp, pktOrderHelp, ikeStatusEnabled, crlEnabledSoft,
    crlEnabled, encodingFrom, encodingTo, english, couldNotLoadPolicy, loadingPolicyFailed, serviceIsntRunning,
    logEvents, timeToCheck, expandLspFilters, expireTime, syslogFacility, fcacheAlwaysInvalidate, fcacheIcmp,
    fcacheLines, file, fileLog, fileOfPolicy, nattForcedUdp, emailFrom, fwdPktNoQueue, emailBccHelp,
    honorPuzzles, honorPuzzlesHelp, httpAddress, httpAddressHelp, httpPort, httpPortHelp, ikecfgDns,
    ike2Fragmentation, ike2FragmentationHelp, ike2Resumption, ike2ResumptionHelp, ike2Jitter, initiatorWindow,
    persistentSa, initiatorWindowHelp, pktQueueHelp, idIp, antiReplayWindow, provisionTrafficHelp,
    provisionTraffic, removalDelayHelp, removalDelay, ike2JitterHelp, idKeyId, idKeyIdHex, koi8r, logLanguage,
    errorsLimit1, errorsLimit10, errorsLimit100, loadingNewPolicy, localHost, logLevel, logLevelKernel, logonOn,
    maxHalfOpen, maxLogSize, fcacheLinesHelp, maxHalfOpenHelp, mobike, mobikeHelp, userName, natKeepalive,
    natKeepaliveHelp, natTraversalHelp, natTraversal, puzzlesNever, errorsNever, daysToExpireHelp, off, on,
    smtpPassword, certificateLacksKeyUsage, certificateIsMissing, certificateNotValidAfter,
    certificateValidFrom, pkcs11Module, pkcs11SlotId, pkcs11TokenId, pktList, pktOrder, pktQueue, sourcePmp,
    pmpAuthMethod, pmpServers, policyLoading, authPresharedKey, presharedKeyIdData, presharedKeyIdType,
    presharedKeyIsMissing, presharedKeyName, privateKeyNotValidAfter, syslogProtocol, syslogMessageLength,
    puzzlesDifficultyHelp, puzzlesDifficulty, puzzlesPolicy, puzzlesPolicyHelp, qcdSecret, qcdSecretHelp,
    emailToHelp, redirectsDisabled, redirectPolicy, syslogSingleLine, responderWindow, responderWindowHelp,
    russian, sendEmail, snmpVerboseHelp, snmpVerboseKernelHelp, emailFromHelp, errorNotifications,
    errorNotificationsHelp, serverOfPolicy, serversPolicy, antiReplayWindowHelp, shortExchangeTimeout,
    shortExchangeTimeoutHelp, authSignature, smtpServer, smtpServerHelp, smtpPasswordHelp, smtpServerPort,
    smtpUsernameHelp, snmpVerbose, snmpVerboseKernel, source, sslTls, storeCrlOnToken, certificateSubject,
    emailSubject, syslog, systemPolicy, tcp, tfcPadding, threadsMask, timeToCheckHelp, crlTimeoutLogonHelp,
    crlTimeoutIkeHelp, exchangeTimeoutHelp, exchangeTimeout, pmpTimeout, titleOfPolicy, emailTo, tfcPaddingHelp,
    sourceTrom, trustedToken, serversSequentially, reuseSaIp, serversParallel2, serversParallel4,
    serversParallel8, udp, puzzlesUnderAttack, unknownDriverMode, updateUri, fcacheIcmpHelp, serversFirst,
    certificateNotSelected, userPolicy, smtpUsername, mainRoutingTableConflicts, utf8, hardwareKeysValidity,
    softwareKeysValidity, keysValidityHelp, waitTokenTimeout, win1251, multicastNeedsInterface,
    // clang-format on
};

inline constexpr std::size_t defaultTextCount = 260;

// The version of the table, as seconds since 1970. A translation file belongs to one version.
inline constexpr std::uint64_t defaultTextStamp = 1713951063;

// The cell of a text. It holds NUL-terminated UTF-8, in English until a translation replaces it. The cell stays valid
// until the process ends.
PANELKIT_EXPORT const char* const& text(Text name);

// A row of the table, for tools that make translation templates and documents from it.
struct DefaultText {
    Text text;
    const char* name;    // the enumerator; identifies the entry in translations
    const char* wording; // the English default
};
// Returns the table of all default texts, in the order of Text.
PANELKIT_EXPORT std::span<const DefaultText, defaultTextCount> defaultTexts();

} // namespace panelkit
