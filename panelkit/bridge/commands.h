// SPDX-License-Identifier: MIT
//
// The one table of what travels: the service's modules, their commands, the session each runs over and the fields of
// its request and reply, as types. Controllers send by row (send_command.h), the reference service dispatches by row,
// and docs/commands.md is made from the rows. The numbers are the wire's and never change.
//
// To add a command: an enumerator in Command, its row below, and its handler in the service's dispatcher. Whoever sends
// it includes the headers of its records; here they are only declared.
#pragma once

#include <panelkit/bridge/sessions_pool.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace PKCS11 {
struct ProviderInfo;
struct TokenInfo;
} // namespace PKCS11
namespace LSPcmd {
struct LSPsettings_t;
}
struct CertExtentions;
struct CertImportOption;
struct CertInfo;
struct CertRequestInfo;
struct CertRequestKeyInfo;
struct CRLInfo;
struct LSPinfo_t;
struct LSPrequest_t;
struct NetInterfaceInfo;
struct PinStateMessage;
struct PresharedKeyInfo;
enum class CertExportFormat : std::uint32_t;
enum class CertImportMode : std::uint32_t;
enum class ExportCertResult : std::uint32_t;
enum class ImportCertResult : std::uint32_t;
enum class ImportCRLResult : std::uint32_t;
enum class MakeCertRequestResult : std::uint32_t;
enum class ParseCertFileResult : std::uint32_t;
namespace panelkit {
enum class TunnelAction : std::uint32_t;
struct EngineInfo;
struct ImportItem;
struct KeyInfo;
struct ProviderState;
struct TokenLabels;
struct TokenState;
struct TunnelInfo;
struct PolicyContent;
struct UncommittedValue;
} // namespace panelkit

// Modules of the service.
enum ModuleIdType : std::uint32_t {
    ModulePolicy = 5,
    ModuleTokens = 6,
    ModuleCertificates = 8,
    ModuleInterfaces = 12,
    ModuleParameters = 13,
    ModuleNotifications = 25, // the service sends, the front end listens
    // The home of every further command. The numbers and payloads of the modules above are fixed: a command that is
    // added to one of them, or a field at the end of one of its replies, would be misread by front ends and services
    // that know other ones there. The number is far from theirs.
    ModuleMonitor = 1000,
};

namespace panelkit {

// All commands, by the names that they have everywhere. The order is that of the table; the numbers are not sent.
enum class Command : std::uint8_t {
    // clang-format off
    EnumProviders, EnumProviderTokens, TokenLogin, TokenLogout, TokenInitialize, TokenChangePassword,
    ProviderLoad, ProviderUnload, ProviderLevelUp, TokensReloadAll, InitTokenRNG,
    DeleteCertificate, ParseCertFile, ImportCertificate, ImportCRL, ExportCertificate, GetCertRequestKeyInfo,
    MakeCertRequest, EnumPresharedKeys, CreatePresharedKey, DeletePresharedKey, EnumCRLs, DeleteCRL,
    GetCertChain, GetCertDetails, VerifyCert, CertsReloadAll, EnumCertificates,
    WriteGroup, ReadGroup, CommitGroups,
    GetPolicyInfo, GetSettings, SetSettings, ActivateCurrent, ActivateDDP, ActivateSystem, ViewCurrent,
    ActivateUser, OfferUserSettings, GetUserSettings, SetUserSettings, LoggedInUser,
    GetInterfaces,
    GetStates, EnumKeys, GetPublicKey, GenerateKey, DeleteKey, DeleteCertAndKey, EnumCertLabels,
    GetUncommitted, RevertSettings, CheckPolicy, MakeCertRequestWithPin,
    GetEngine, GetTunnels, ActOnTunnel, ImportCertificates,
    // clang-format on
};

// How the library runs a command: directly on the calling thread, or through SendCommandProgress with an idle
// hook while the service works.
enum class Run : std::uint8_t { direct, progress };

// What a command is, apart from its fields.
struct CommandRow {
    Command command;
    std::string_view name;
    ModuleIdType module;
    std::uint32_t code;
    SessionId_t session;
    Run run;
};

// A request or a reply: its fields in order, as the stream writes them (command_stream.h). Whoever sends or reads other
// types than these does not compile.
template <class... Types>
struct Fields {};

// Fields of a payload that are not one value of their type.
template <class Type>
struct Optional {}; // may be missing; only such fields follow it
template <class Count, class First, class Second>
struct Pairs {}; // a count of that type, then as many pairs
template <class First, class Second>
struct MorePairs {}; // pairs without a count, to the end
struct Bytes {};     // to the end, as they are: without a length

// A string that is a secret: a PIN, a password, a key, a file that may hold one. A transcript (transcript.h) does not
// show it. It is sent and read as a string, and the service reads it only into memory that is wiped.
struct SecretText {
    std::string text;
    static auto fields(auto& self, auto&& io) { return io(self.text); }
};

// In place of a reply that the library does not read.
struct Unread {};

namespace commands {

using LSPcmd::LSPsettings_t;
using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;

// The name of a command, as an argument of a template.
struct Name {
    template <std::size_t size>
    consteval Name(const char (&text)[size]) { // NOLINT(google-explicit-constructor): rows name it as a literal
        for (std::size_t i = 0; i < size; ++i) characters[i] = text[i];
    }
    char characters[24]{};
};

template <Name name, ModuleIdType module, std::uint32_t code, SessionId_t session, Run run, class RequestFields,
          class ReplyFields>
struct Row {
    using Request = RequestFields;
    using Reply = ReplyFields;

    static constexpr Name nameOfCommand = name;
    static constexpr CommandRow as(Command command) {
        return {command, nameOfCommand.characters, module, code, session, run};
    }
};

template <Command>
struct Entry;

// clang-format off
//                       command                         name                      module               code session              run            request    reply
template <> struct Entry<Command::EnumProviders>         : Row<"EnumProviders",         ModuleTokens,        0, SessionTokens,       Run::direct,   Fields<>,                                                                                 Fields<std::vector<ProviderInfo>>> {};
template <> struct Entry<Command::EnumProviderTokens>    : Row<"EnumProviderTokens",    ModuleTokens,        1, SessionTokens,       Run::direct,   Fields<Optional<ProviderInfo>>,                                                           Fields<std::vector<TokenInfo>>> {};
template <> struct Entry<Command::TokenLogin>            : Row<"TokenLogin",            ModuleTokens,        2, SessionTokens,       Run::direct,   Fields<TokenInfo, SecretText /* pin */, bool>,                                            Fields<bool, Optional<PinStateMessage>>> {};
template <> struct Entry<Command::TokenLogout>           : Row<"TokenLogout",           ModuleTokens,        3, SessionTokens,       Run::direct,   Fields<TokenInfo>,                                                                        Unread> {};
template <> struct Entry<Command::TokenInitialize>       : Row<"TokenInitialize",       ModuleTokens,        4, SessionTokens,       Run::progress, Fields<TokenInfo, std::string, SecretText, SecretText, bool>,                             Fields<bool>> {};
template <> struct Entry<Command::TokenChangePassword>   : Row<"TokenChangePassword",   ModuleTokens,        5, SessionTokens,       Run::direct,   Fields<TokenInfo, SecretText /* oldPin */, SecretText /* newPin */, bool, bool>,          Fields<bool>> {};
template <> struct Entry<Command::ProviderLoad>          : Row<"ProviderLoad",          ModuleTokens,        6, SessionTokens,       Run::direct,   Fields<ProviderInfo>,                                                                     Fields<bool, ProviderInfo>> {};
template <> struct Entry<Command::ProviderUnload>        : Row<"ProviderUnload",        ModuleTokens,        7, SessionTokens,       Run::direct,   Fields<ProviderInfo>,                                                                     Unread> {};
template <> struct Entry<Command::ProviderLevelUp>       : Row<"ProviderLevelUp",       ModuleTokens,        8, SessionTokens,       Run::direct,   Fields<ProviderInfo>,                                                                     Unread> {};
template <> struct Entry<Command::TokensReloadAll>       : Row<"TokensReloadAll",       ModuleTokens,       14, SessionTokens,       Run::progress, Fields<>,                                                                                 Unread> {};
template <> struct Entry<Command::InitTokenRNG>          : Row<"InitTokenRNG",          ModuleTokens,       15, SessionTokens,       Run::direct,   Fields<TokenInfo, SecretText /* seed */>,                                                 Fields<bool>> {};

template <> struct Entry<Command::DeleteCertificate>     : Row<"DeleteCertificate",     ModuleCertificates,  3, SessionCertificates, Run::progress, Fields<TokenInfo, CertInfo>,                                                              Unread> {};
template <> struct Entry<Command::ParseCertFile>         : Row<"ParseCertFile",         ModuleCertificates,  4, SessionCertificates, Run::progress, Fields<SecretText /* file */, SecretText>,                                                Fields<ParseCertFileResult, Optional<std::vector<TokenInfo>>, Optional<std::vector<CertImportOption>>, Optional<std::vector<CRLInfo>>>> {};
template <> struct Entry<Command::ImportCertificate>     : Row<"ImportCertificate",     ModuleCertificates,  5, SessionCertificates, Run::progress, Fields<TokenInfo, std::uint32_t /* item */, CertImportMode, bool, Optional<SecretText>>,  Fields<ImportCertResult>> {};
template <> struct Entry<Command::ImportCRL>             : Row<"ImportCRL",             ModuleCertificates,  6, SessionCertificates, Run::progress, Fields<TokenInfo, std::uint32_t /* item */>,                                              Fields<ImportCRLResult>> {};
template <> struct Entry<Command::ExportCertificate>     : Row<"ExportCertificate",     ModuleCertificates,  7, SessionCertificates, Run::progress, Fields<TokenInfo, CertInfo, CertExportFormat, SecretText, bool, bool>,                    Fields<ExportCertResult, SecretText>> {};
template <> struct Entry<Command::GetCertRequestKeyInfo> : Row<"GetCertRequestKeyInfo", ModuleCertificates,  8, SessionCertificates, Run::progress, Fields<TokenInfo>,                                                                        Fields<std::vector<CertRequestKeyInfo>>> {};
template <> struct Entry<Command::MakeCertRequest>       : Row<"MakeCertRequest",       ModuleCertificates,  9, SessionCertificates, Run::progress, Fields<TokenInfo, CertRequestInfo>,                                                       Fields<MakeCertRequestResult, std::string>> {};
template <> struct Entry<Command::EnumPresharedKeys>     : Row<"EnumPresharedKeys",     ModuleCertificates, 10, SessionCertificates, Run::progress, Fields<>,                                                                                 Fields<Pairs<std::int32_t, TokenInfo, PresharedKeyInfo>>> {};
template <> struct Entry<Command::CreatePresharedKey>    : Row<"CreatePresharedKey",    ModuleCertificates, 11, SessionCertificates, Run::progress, Fields<TokenInfo, std::string, SecretText>,                                               Fields<bool>> {};
template <> struct Entry<Command::DeletePresharedKey>    : Row<"DeletePresharedKey",    ModuleCertificates, 12, SessionCertificates, Run::progress, Fields<TokenInfo, PresharedKeyInfo>,                                                      Unread> {};
template <> struct Entry<Command::EnumCRLs>              : Row<"EnumCRLs",              ModuleCertificates, 13, SessionCertificates, Run::progress, Fields<>,                                                                                 Fields<Pairs<std::uint32_t, TokenInfo, CRLInfo>, MorePairs<TokenInfo, CRLInfo>>> {};
template <> struct Entry<Command::DeleteCRL>             : Row<"DeleteCRL",             ModuleCertificates, 14, SessionCertificates, Run::progress, Fields<TokenInfo, CRLInfo>,                                                               Unread> {};
template <> struct Entry<Command::GetCertChain>          : Row<"GetCertChain",          ModuleCertificates, 15, SessionCertificates, Run::progress, Fields<TokenInfo, CertInfo>,                                                              Fields<std::uint32_t /* skipped */, Pairs<std::int32_t, TokenInfo, CertInfo>>> {};
template <> struct Entry<Command::GetCertDetails>        : Row<"GetCertDetails",        ModuleCertificates, 16, SessionCertificates, Run::progress, Fields<TokenInfo, CertInfo>,                                                              Fields<CertInfo, CertExtentions, std::string>> {};
template <> struct Entry<Command::VerifyCert>            : Row<"VerifyCert",            ModuleCertificates, 17, SessionCertificates, Run::progress, Fields<TokenInfo, CertInfo, std::int32_t>,                                                Fields<bool, std::string>> {};
template <> struct Entry<Command::CertsReloadAll>        : Row<"CertsReloadAll",        ModuleCertificates, 18, SessionCertificates, Run::progress, Fields<bool>,                                                                             Unread> {};
template <> struct Entry<Command::EnumCertificates>      : Row<"EnumCertificates",      ModuleCertificates, 19, SessionCertificates, Run::progress, Fields<std::int32_t /* selector */>,                                                      Fields<Pairs<std::int32_t, TokenInfo, CertInfo>>> {};

template <> struct Entry<Command::WriteGroup>            : Row<"WriteGroup",            ModuleParameters,    0, SessionParameters,   Run::direct,   Fields<std::string /* section */, Bytes>,                                                 Unread> {};
template <> struct Entry<Command::ReadGroup>             : Row<"ReadGroup",             ModuleParameters,    1, SessionParameters,   Run::direct,   Fields<std::string /* section */>,                                                        Fields<Bytes>> {};
template <> struct Entry<Command::CommitGroups>          : Row<"CommitGroups",          ModuleParameters,    2, SessionParameters,   Run::direct,   Fields<>,                                                                                 Unread> {};

template <> struct Entry<Command::GetPolicyInfo>         : Row<"GetPolicyInfo",         ModulePolicy,        2, SessionPolicy,       Run::direct,   Fields<>,                                                                                 Fields<LSPrequest_t, LSPinfo_t>> {};
template <> struct Entry<Command::GetSettings>           : Row<"GetSettings",           ModulePolicy,        3, SessionPolicy,       Run::direct,   Fields<>,                                                                                 Fields<LSPsettings_t>> {};
template <> struct Entry<Command::SetSettings>           : Row<"SetSettings",           ModulePolicy,        4, SessionPolicy,       Run::direct,   Fields<LSPsettings_t>,                                                                    Fields<bool>> {};
template <> struct Entry<Command::ActivateCurrent>       : Row<"ActivateCurrent",       ModulePolicy,        5, SessionPolicy,       Run::direct,   Fields<std::string /* policy */>,                                                         Fields<Bytes>> {};
template <> struct Entry<Command::ActivateDDP>           : Row<"ActivateDDP",           ModulePolicy,        6, SessionPolicy,       Run::direct,   Fields<std::string /* policy */>,                                                         Unread> {};
template <> struct Entry<Command::ActivateSystem>        : Row<"ActivateSystem",        ModulePolicy,        7, SessionPolicy,       Run::direct,   Fields<std::string /* policy */, SecretText /* file */>,                                  Fields<bool, std::string>> {};
template <> struct Entry<Command::ViewCurrent>           : Row<"ViewCurrent",           ModulePolicy,        9, SessionPolicy,       Run::direct,   Fields<>,                                                                                 Fields<Bytes>> {};
template <> struct Entry<Command::ActivateUser>          : Row<"ActivateUser",          ModulePolicy,       10, SessionPolicy,       Run::direct,   Fields<std::string /* user */, std::string /* policy */, SecretText /* file */>,          Fields<bool, std::string>> {};
template <> struct Entry<Command::OfferUserSettings>     : Row<"OfferUserSettings",     ModulePolicy,       12, SessionPolicy,       Run::direct,   Fields<std::string /* user */>,                                                           Unread> {};
template <> struct Entry<Command::GetUserSettings>       : Row<"GetUserSettings",       ModulePolicy,       13, SessionPolicy,       Run::direct,   Fields<std::string /* user */, Optional<LSPsettings_t>>,                                  Fields<LSPsettings_t>> {};
template <> struct Entry<Command::SetUserSettings>       : Row<"SetUserSettings",       ModulePolicy,       14, SessionPolicy,       Run::direct,   Fields<std::string /* user */, LSPsettings_t>,                                            Fields<bool>> {};
template <> struct Entry<Command::LoggedInUser>          : Row<"LoggedInUser",          ModulePolicy,       15, SessionPolicy,       Run::direct,   Fields<>,                                                                                 Fields<std::string /* user */>> {};

template <> struct Entry<Command::GetInterfaces>         : Row<"GetInterfaces",         ModuleInterfaces,    1, SessionInterfaces,   Run::direct,   Fields<>,                                                                                 Fields<std::vector<NetInterfaceInfo>>> {};

// 1 to 9 are for states, 10 to 19 for keys, 20 to 29 for labels, 30 to 39 for settings, 40 to 49 for policies, 50
// to 59 for imports, 60 to 69 for the engine; the numbers from 70 on are free.
template <> struct Entry<Command::GetStates>             : Row<"GetStates",             ModuleMonitor,       1, SessionMonitor,      Run::progress, Fields<>,                                                                                 Fields<std::vector<ProviderState>, std::vector<TokenState>>> {};
template <> struct Entry<Command::EnumKeys>              : Row<"EnumKeys",              ModuleMonitor,      10, SessionMonitor,      Run::progress, Fields<Optional<TokenInfo>>,                                                              Fields<Pairs<std::uint32_t, TokenInfo, KeyInfo>>> {};
template <> struct Entry<Command::GetPublicKey>          : Row<"GetPublicKey",          ModuleMonitor,      11, SessionMonitor,      Run::progress, Fields<TokenInfo, KeyInfo>,                                                               Fields<std::string /* pem */>> {};
template <> struct Entry<Command::GenerateKey>           : Row<"GenerateKey",           ModuleMonitor,      12, SessionMonitor,      Run::progress, Fields<TokenInfo, std::uint32_t, std::uint32_t, std::string /* label */>,                 Fields<KeyInfo>> {};
template <> struct Entry<Command::DeleteKey>             : Row<"DeleteKey",             ModuleMonitor,      13, SessionMonitor,      Run::progress, Fields<TokenInfo, KeyInfo>,                                                               Unread> {};
template <> struct Entry<Command::DeleteCertAndKey>      : Row<"DeleteCertAndKey",      ModuleMonitor,      14, SessionMonitor,      Run::progress, Fields<TokenInfo, CertInfo>,                                                              Unread> {};
template <> struct Entry<Command::EnumCertLabels>        : Row<"EnumCertLabels",        ModuleMonitor,      20, SessionMonitor,      Run::progress, Fields<Optional<TokenInfo>>,                                                              Fields<std::vector<TokenLabels>>> {};
template <> struct Entry<Command::GetUncommitted>        : Row<"GetUncommitted",        ModuleMonitor,      30, SessionMonitor,      Run::direct,   Fields<>,                                                                                 Fields<std::vector<UncommittedValue>>> {};
template <> struct Entry<Command::RevertSettings>        : Row<"RevertSettings",        ModuleMonitor,      31, SessionMonitor,      Run::direct,   Fields<std::vector<std::string>>,                                                         Fields<std::vector<UncommittedValue>>> {};
template <> struct Entry<Command::CheckPolicy>           : Row<"CheckPolicy",           ModuleMonitor,      40, SessionMonitor,      Run::direct,   Fields<SecretText /* file */>,                                                            Fields<PolicyContent>> {};
template <> struct Entry<Command::MakeCertRequestWithPin>: Row<"MakeCertRequestWithPin",ModuleMonitor,      15, SessionMonitor,      Run::progress, Fields<TokenInfo, CertRequestInfo, SecretText /* pin */>,                                Fields<MakeCertRequestResult, std::string>> {};
template <> struct Entry<Command::GetEngine>             : Row<"GetEngine",             ModuleMonitor,      60, SessionMonitor,      Run::direct,   Fields<>,                                                                                 Fields<EngineInfo>> {};
template <> struct Entry<Command::GetTunnels>            : Row<"GetTunnels",            ModuleMonitor,      61, SessionMonitor,      Run::progress, Fields<>,                                                                                 Fields<std::vector<TunnelInfo>>> {};
template <> struct Entry<Command::ActOnTunnel>           : Row<"ActOnTunnel",           ModuleMonitor,      62, SessionMonitor,      Run::progress, Fields<std::string /* section */, TunnelAction>,                                          Unread> {};
template <> struct Entry<Command::ImportCertificates>    : Row<"ImportCertificates",    ModuleMonitor,      50, SessionCertificates, Run::progress, Fields<TokenInfo, std::vector<ImportItem>, Optional<SecretText /* pin */>>,               Fields<std::vector<ImportCertResult>>> {};
// clang-format on

} // namespace commands

// The fields of a command's request and reply.
template <Command command>
using RequestOf = typename commands::Entry<command>::Request;
template <Command command>
using ReplyOf = typename commands::Entry<command>::Reply;

// All rows, in the order of Command. One that is missing does not compile.
inline constexpr auto commandTable = []<std::size_t... place>(std::index_sequence<place...>) {
    return std::array{commands::Entry<static_cast<Command>(place)>::as(static_cast<Command>(place))...};
}
(std::make_index_sequence<static_cast<std::size_t>(Command::ImportCertificates) + 1>());

// Returns the row of a command.
constexpr const CommandRow& commandRow(Command command) { return commandTable[static_cast<std::size_t>(command)]; }

} // namespace panelkit
