// SPDX-License-Identifier: MIT
//
// The names of the fields of commands and records, in the order in which they travel: a word for each. For transcripts
// (panelkit/bridge/transcript.h). A name that is missing does not compile.
#pragma once

#include <panelkit/bridge/commands.h>
#include <panelkit/certs/cert_imports.h>
#include <panelkit/certs/cert_records.h>
#include <panelkit/lsp/lsp_records.h>
#include <panelkit/monitor/monitor_records.h>
#include <panelkit/monitor/tunnel_records.h>
#include <panelkit/net/interface_records.h>
#include <panelkit/tokens/token_records.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace panelkit {

// ---- records

struct RecordNames {
    std::string_view type;
    std::string_view fields;
};

// clang-format off
template <class R> inline constexpr RecordNames namesOf{};
template <> inline constexpr RecordNames namesOf<PKCS11::ProviderInfo>{"ProviderInfo", "str1 str2 str3 str4 str5 str6 value flagA flagB flagC str7"};
template <> inline constexpr RecordNames namesOf<PKCS11::TokenInfo>{"TokenInfo", "slotId text1 text2 text3 text4 flags"};
template <> inline constexpr RecordNames namesOf<PinStateMessage>{"PinStateMessage", "title text"};
template <> inline constexpr RecordNames namesOf<CertInfo>{"CertInfo", "subject issuer serialNumber fingerprint notBefore notAfter keyType keyBits hasPrivateKey state keyUsage flags"};
template <> inline constexpr RecordNames namesOf<CRLInfo>{"CRLInfo", "issuer number thisUpdate nextUpdate revokedCount authorityKeyId fingerprint"};
template <> inline constexpr RecordNames namesOf<PresharedKeyInfo>{"PresharedKeyInfo", "name"};
template <> inline constexpr RecordNames namesOf<CertImportOption>{"CertImportOption", "certificate modes keyTokens"};
template <> inline constexpr RecordNames namesOf<CertRequestKeyInfo>{"CertRequestKeyInfo", "keyType keyBits digests"};
template <> inline constexpr RecordNames namesOf<CertRequestInfo>{"CertRequestInfo", "keyType keyBits digest format commonName organizationalUnit organization locality stateOrProvince country useExistingKey alternativeNames keyLabel keyUsage format"};
template <> inline constexpr RecordNames namesOf<CertExtentions>{"CertExtentions", "label keyId version signatureAlgorithm publicKeyAlgorithm publicKeyParameters subjectAlternativeNames issuerAlternativeNames basicConstraints keyUsage extendedKeyUsage subjectKeyId authorityKeyId crlDistributionPoints authorityInfoAccess sha1Fingerprint extensions revokedAt certificatePolicies"};
template <> inline constexpr RecordNames namesOf<LSPserver_t>{"LSPserver_t", "Server LogLevel authKind reserved PmpIdType PmpIdValue Subject presharedKeyName PmpTimeout"};
template <> inline constexpr RecordNames namesOf<LSPrequest_t>{"LSPrequest_t", "type user file server driverMode"};
template <> inline constexpr RecordNames namesOf<LSPinfo_t>{"LSPinfo_t", "request activated fromConfigDb flag1 bareMessage isLoading Title textB message textD valueE textF textG textC certificateState certificateDate"};
template <> inline constexpr RecordNames namesOf<LSPcmd::LSPentry_t>{"LSPentry_t", "first second third"};
template <> inline constexpr RecordNames namesOf<LSPcmd::LSPsettings_t>{"LSPsettings_t", "Source value1 File server value2 entries"};
template <> inline constexpr RecordNames namesOf<NetInterfaceInfo>{"NetInterfaceInfo", "text1 text2 text3 addresses list2 value"};
template <> inline constexpr RecordNames namesOf<StateRemark>{"StateRemark", "code wording arguments"};
template <> inline constexpr RecordNames namesOf<ProviderState>{"ProviderState", "name path condition why"};
template <> inline constexpr RecordNames namesOf<TokenState>{"TokenState", "token condition"};
template <> inline constexpr RecordNames namesOf<PolicyRule>{"PolicyRule", "name line action network protocol port gateway authentication subject key"};
template <> inline constexpr RecordNames namesOf<PolicyContent>{"PolicyContent", "title version description rules"};
template <> inline constexpr RecordNames namesOf<KeyInfo>{"KeyInfo", "label id keyType keyBits fingerprint hasPrivateKey hasPublicKey usable extractable asksForPin certificates"};
template <> inline constexpr RecordNames namesOf<CertLabel>{"CertLabel", "fingerprint label id"};
template <> inline constexpr RecordNames namesOf<TokenLabels>{"TokenLabels", "token certificates"};
template <> inline constexpr RecordNames namesOf<ImportItem>{"ImportItem", "item mode exportable"};
template <> inline constexpr RecordNames namesOf<EngineInfo>{"EngineInfo", "name protectsTraffic works condition"};
template <> inline constexpr RecordNames namesOf<TunnelInfo>{"TunnelInfo", "section network gateway condition since address credential gatewayIdentity suite bytesIn bytesOut dropped why"};
template <> inline constexpr RecordNames namesOf<UncommittedValue>{"UncommittedValue", "section key secret committed written"};
// clang-format on

// ---- commands

struct CommandNames {
    Command command;
    std::string_view request;
    std::string_view reply; // of pairs, the name of the first and of the second
};

// clang-format off
inline constexpr std::array commandNames = {
    CommandNames{Command::EnumProviders,         "",                                      "providers"},
    CommandNames{Command::EnumProviderTokens,    "provider",                              "tokens"},
    CommandNames{Command::TokenLogin,            "token pin allowFinalTry",               "done why"},
    CommandNames{Command::TokenLogout,           "token",                                 ""},
    CommandNames{Command::TokenInitialize,       "token label soPin userPin mayErase",    "done"},
    CommandNames{Command::TokenChangePassword,   "token oldPin newPin ofSecurityOfficer allowFinalTry", "done"},
    CommandNames{Command::ProviderLoad,          "provider",                              "done provider"},
    CommandNames{Command::ProviderUnload,        "provider",                              ""},
    CommandNames{Command::ProviderLevelUp,       "provider",                              ""},
    CommandNames{Command::TokensReloadAll,       "",                                      ""},
    CommandNames{Command::InitTokenRNG,          "token seed",                            "done"},
    CommandNames{Command::DeleteCertificate,     "token certificate",                     ""},
    CommandNames{Command::ParseCertFile,         "file password",                         "result tokens certificates crls"},
    CommandNames{Command::ImportCertificate,     "token item mode exportable pin",        "result"},
    CommandNames{Command::ImportCRL,             "token item",                            "result"},
    CommandNames{Command::ExportCertificate,     "token certificate format password withChain withKey", "result content"},
    CommandNames{Command::GetCertRequestKeyInfo, "token",                                 "choices"},
    CommandNames{Command::MakeCertRequest,       "token info",                            "result request"},
    CommandNames{Command::EnumPresharedKeys,     "",                                      "token key"},
    CommandNames{Command::CreatePresharedKey,    "token name value",                      "done"},
    CommandNames{Command::DeletePresharedKey,    "token key",                             ""},
    CommandNames{Command::EnumCRLs,              "",                                      "token crl moreToken moreCrl"},
    CommandNames{Command::DeleteCRL,             "token crl",                             ""},
    CommandNames{Command::GetCertChain,          "token certificate",                     "complete token certificate"},
    CommandNames{Command::GetCertDetails,        "token certificate",                     "certificate details text"},
    CommandNames{Command::VerifyCert,            "token certificate purpose",             "valid text"},
    CommandNames{Command::CertsReloadAll,        "dropCaches",                            ""},
    CommandNames{Command::EnumCertificates,      "selector",                              "token certificate"},
    CommandNames{Command::WriteGroup,            "section body",                          ""},
    CommandNames{Command::ReadGroup,             "section",                               "body"},
    CommandNames{Command::CommitGroups,          "",                                      ""},
    CommandNames{Command::GetPolicyInfo,         "",                                      "required inForce"},
    CommandNames{Command::GetSettings,           "",                                      "settings"},
    CommandNames{Command::SetSettings,           "settings",                              "done"},
    CommandNames{Command::ActivateCurrent,       "policy",                                "text"},
    CommandNames{Command::ActivateDDP,           "policy",                                ""},
    CommandNames{Command::ActivateSystem,        "policy file",                           "done message"},
    CommandNames{Command::ViewCurrent,           "",                                      "text"},
    CommandNames{Command::ActivateUser,          "user policy file",                      "done message"},
    CommandNames{Command::OfferUserSettings,     "user",                                  ""},
    CommandNames{Command::GetUserSettings,       "user settings",                         "settings"},
    CommandNames{Command::SetUserSettings,       "user settings",                         "done"},
    CommandNames{Command::LoggedInUser,          "",                                      "user"},
    CommandNames{Command::GetInterfaces,         "",                                      "interfaces"},
    CommandNames{Command::GetStates,             "",                                      "providers tokens"},
    CommandNames{Command::EnumKeys,              "token",                                 "token key"},
    CommandNames{Command::GetPublicKey,          "token key",                             "pem"},
    CommandNames{Command::GenerateKey,           "token keyType keyBits label",           "key"},
    CommandNames{Command::DeleteKey,             "token key",                             ""},
    CommandNames{Command::DeleteCertAndKey,      "token certificate",                     ""},
    CommandNames{Command::EnumCertLabels,        "token",                                 "tokens"},
    CommandNames{Command::GetUncommitted,        "",                                      "values"},
    CommandNames{Command::RevertSettings,        "names",                                 "values"},
    CommandNames{Command::CheckPolicy,           "file",                                  "policy"},
    CommandNames{Command::MakeCertRequestWithPin, "token info pin",                       "result request"},
    CommandNames{Command::GetEngine,             "",                                      "engine"},
    CommandNames{Command::GetTunnels,            "",                                      "tunnels"},
    CommandNames{Command::ActOnTunnel,           "section action",                        ""},
    CommandNames{Command::ImportCertificates,    "token items pin",                       "results"},
};
// clang-format on

constexpr const CommandNames& namesOfCommand(Command command) {
    return commandNames[static_cast<std::size_t>(command)];
}

constexpr std::size_t wordCount(std::string_view words) {
    return words.empty() ? 0 : 1 + static_cast<std::size_t>(std::count(words.begin(), words.end(), ' '));
}

// Takes the first word off.
constexpr std::string_view takeWord(std::string_view& words) {
    const std::size_t end = std::min(words.find(' '), words.size());
    const std::string_view word = words.substr(0, end);
    words.remove_prefix(std::min(end + 1, words.size()));
    return word;
}

// The number of names that a field of a row needs.
template <class Type>
constexpr std::size_t nameCount(Fields<Type>) {
    return 1;
}
template <class Count, class First, class Second>
constexpr std::size_t nameCount(Fields<Pairs<Count, First, Second>>) {
    return 2;
}
template <class First, class Second>
constexpr std::size_t nameCount(Fields<MorePairs<First, Second>>) {
    return 2;
}
template <class... Types>
constexpr bool areNamed(Fields<Types...>, std::string_view names) {
    return (std::size_t{0} + ... + nameCount(Fields<Types>())) == wordCount(names);
}
constexpr bool areNamed(Unread, std::string_view names) { return names.empty(); }

} // namespace panelkit
