// SPDX-License-Identifier: MIT
//
// The one table of what travels: the service's modules, their commands, the session each runs over and the
// shape of its request and reply. Controllers send by row, the reference service dispatches by row, and
// docs/service-api.md lists the rows. The numbers are the wire's and never change.
//
// To add a command: an enumerator in Command, and its row at the same place in commandTable.
#pragma once

#include <panelkit/bridge/sessions_pool.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

// Modules of the service.
enum ModuleIdType : std::uint32_t {
    ModulePolicy = 5,
    ModuleTokens = 6,
    ModuleCertificates = 8,
    ModuleInterfaces = 12,
    ModuleParameters = 13,
    ModuleNotifications = 25, // the service sends, the front end listens
};

namespace panelkit {

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
    // clang-format on
};

// How the library runs a command: directly on the calling thread, or through SendCommandProgress with an idle
// hook while the service works.
enum class Run : std::uint8_t { direct, progress };

struct CommandRow {
    Command command;
    std::string_view name;
    ModuleIdType module;
    std::uint32_t code;
    SessionId_t session;
    Run run;
    std::string_view request; // fields in order; "" is an empty payload
    std::string_view reply;   // fields in order; "-" when the reply is not read
};

// clang-format off
inline constexpr std::array commandTable = {
    //         command                         name                    module              code  session              run            request                                                                       reply
    CommandRow{Command::EnumProviders,         "EnumProviders",         ModuleTokens,        0,  SessionTokens,       Run::direct,   "",                                                                           "vector<ProviderInfo>"},
    CommandRow{Command::EnumProviderTokens,    "EnumProviderTokens",    ModuleTokens,        1,  SessionTokens,       Run::direct,   "[ProviderInfo]",                                                             "vector<TokenInfo>"},
    CommandRow{Command::TokenLogin,            "TokenLogin",            ModuleTokens,        2,  SessionTokens,       Run::direct,   "TokenInfo, string pin, bool",                                                "status, [PinStateMessage]"},
    CommandRow{Command::TokenLogout,           "TokenLogout",           ModuleTokens,        3,  SessionTokens,       Run::direct,   "TokenInfo",                                                                  "-"},
    CommandRow{Command::TokenInitialize,       "TokenInitialize",       ModuleTokens,        4,  SessionTokens,       Run::progress, "TokenInfo, string, string, string, bool",                                    "status"},
    CommandRow{Command::TokenChangePassword,   "TokenChangePassword",   ModuleTokens,        5,  SessionTokens,       Run::direct,   "TokenInfo, string oldPin, string newPin, bool, bool",                        "status"},
    CommandRow{Command::ProviderLoad,          "ProviderLoad",          ModuleTokens,        6,  SessionTokens,       Run::direct,   "ProviderInfo",                                                               "status, ProviderInfo"},
    CommandRow{Command::ProviderUnload,        "ProviderUnload",        ModuleTokens,        7,  SessionTokens,       Run::direct,   "ProviderInfo",                                                               "-"},
    CommandRow{Command::ProviderLevelUp,       "ProviderLevelUp",       ModuleTokens,        8,  SessionTokens,       Run::direct,   "ProviderInfo",                                                               "-"},
    CommandRow{Command::TokensReloadAll,       "TokensReloadAll",       ModuleTokens,       14,  SessionTokens,       Run::progress, "",                                                                           "-"},
    CommandRow{Command::InitTokenRNG,          "InitTokenRNG",          ModuleTokens,       15,  SessionTokens,       Run::direct,   "TokenInfo, string seed",                                                     "status"},

    CommandRow{Command::DeleteCertificate,     "DeleteCertificate",     ModuleCertificates,  3,  SessionCertificates, Run::progress, "TokenInfo, CertInfo",                                                        "-"},
    CommandRow{Command::ParseCertFile,         "ParseCertFile",         ModuleCertificates,  4,  SessionCertificates, Run::progress, "string file, string",                                                        "u32 result, [vector<TokenInfo>, vector<CertImportOption>, vector<CRLInfo>]"},
    CommandRow{Command::ImportCertificate,     "ImportCertificate",     ModuleCertificates,  5,  SessionCertificates, Run::progress, "TokenInfo, u32 item, u32 mode, bool, [string]",                              "u32 result"},
    CommandRow{Command::ImportCRL,             "ImportCRL",             ModuleCertificates,  6,  SessionCertificates, Run::progress, "TokenInfo, u32 item",                                                        "u32 result"},
    CommandRow{Command::ExportCertificate,     "ExportCertificate",     ModuleCertificates,  7,  SessionCertificates, Run::progress, "TokenInfo, CertInfo, u32 format, string, bool, bool",                        "u32 result, string"},
    CommandRow{Command::GetCertRequestKeyInfo, "GetCertRequestKeyInfo", ModuleCertificates,  8,  SessionCertificates, Run::progress, "TokenInfo",                                                                  "vector<CertRequestKeyInfo>"},
    CommandRow{Command::MakeCertRequest,       "MakeCertRequest",       ModuleCertificates,  9,  SessionCertificates, Run::progress, "TokenInfo, CertRequestInfo",                                                 "u32 result, string"},
    CommandRow{Command::EnumPresharedKeys,     "EnumPresharedKeys",     ModuleCertificates, 10,  SessionCertificates, Run::progress, "",                                                                           "i32 count, (TokenInfo, string name)..."},
    CommandRow{Command::CreatePresharedKey,    "CreatePresharedKey",    ModuleCertificates, 11,  SessionCertificates, Run::progress, "TokenInfo, string, string",                                                  "status"},
    CommandRow{Command::DeletePresharedKey,    "DeletePresharedKey",    ModuleCertificates, 12,  SessionCertificates, Run::progress, "TokenInfo, string name",                                                     "-"},
    CommandRow{Command::EnumCRLs,              "EnumCRLs",              ModuleCertificates, 13,  SessionCertificates, Run::progress, "",                                                                           "u32 count, (TokenInfo, CRLInfo)..., to the end"},
    CommandRow{Command::DeleteCRL,             "DeleteCRL",             ModuleCertificates, 14,  SessionCertificates, Run::progress, "TokenInfo, CRLInfo",                                                         "-"},
    CommandRow{Command::GetCertChain,          "GetCertChain",          ModuleCertificates, 15,  SessionCertificates, Run::progress, "TokenInfo, CertInfo",                                                        "u32 skipped, i32 count, (TokenInfo, CertInfo)..."},
    CommandRow{Command::GetCertDetails,        "GetCertDetails",        ModuleCertificates, 16,  SessionCertificates, Run::progress, "TokenInfo, CertInfo",                                                        "CertInfo, CertExtentions, string"},
    CommandRow{Command::VerifyCert,            "VerifyCert",            ModuleCertificates, 17,  SessionCertificates, Run::progress, "TokenInfo, CertInfo, i32",                                                   "u8 verdict, string"},
    CommandRow{Command::CertsReloadAll,        "CertsReloadAll",        ModuleCertificates, 18,  SessionCertificates, Run::progress, "bool",                                                                       "-"},
    CommandRow{Command::EnumCertificates,      "EnumCertificates",      ModuleCertificates, 19,  SessionCertificates, Run::progress, "i32 selector",                                                               "i32 count, (TokenInfo, CertInfo)..."},

    CommandRow{Command::WriteGroup,            "WriteGroup",            ModuleParameters,    0,  SessionParameters,   Run::direct,   "string group, body",                                                         "-"},
    CommandRow{Command::ReadGroup,             "ReadGroup",             ModuleParameters,    1,  SessionParameters,   Run::direct,   "string group",                                                               "body"},
    CommandRow{Command::CommitGroups,          "CommitGroups",          ModuleParameters,    2,  SessionParameters,   Run::direct,   "",                                                                           "-"},

    CommandRow{Command::GetPolicyInfo,         "GetPolicyInfo",         ModulePolicy,        2,  SessionPolicy,       Run::direct,   "",                                                                           "LSPrequest_t, LSPinfo_t"},
    CommandRow{Command::GetSettings,           "GetSettings",           ModulePolicy,        3,  SessionPolicy,       Run::direct,   "",                                                                           "LSPsettings_t"},
    CommandRow{Command::SetSettings,           "SetSettings",           ModulePolicy,        4,  SessionPolicy,       Run::direct,   "LSPsettings_t",                                                              "u8 applied"},
    CommandRow{Command::ActivateCurrent,       "ActivateCurrent",       ModulePolicy,        5,  SessionPolicy,       Run::direct,   "string policy",                                                              "text, discarded"},
    CommandRow{Command::ActivateDDP,           "ActivateDDP",           ModulePolicy,        6,  SessionPolicy,       Run::direct,   "string policy",                                                              "-"},
    CommandRow{Command::ActivateSystem,        "ActivateSystem",        ModulePolicy,        7,  SessionPolicy,       Run::direct,   "string policy, string file",                                                 "u8 result, string message"},
    CommandRow{Command::ViewCurrent,           "ViewCurrent",           ModulePolicy,        9,  SessionPolicy,       Run::direct,   "",                                                                           "text"},
    CommandRow{Command::ActivateUser,          "ActivateUser",          ModulePolicy,       10,  SessionPolicy,       Run::direct,   "string user, string policy, string file",                                    "u8 result, string message"},
    CommandRow{Command::OfferUserSettings,     "OfferUserSettings",     ModulePolicy,       12,  SessionPolicy,       Run::direct,   "string user",                                                                "-"},
    CommandRow{Command::GetUserSettings,       "GetUserSettings",       ModulePolicy,       13,  SessionPolicy,       Run::direct,   "string user, [LSPsettings_t]",                                               "LSPsettings_t"},
    CommandRow{Command::SetUserSettings,       "SetUserSettings",       ModulePolicy,       14,  SessionPolicy,       Run::direct,   "string user, LSPsettings_t",                                                 "u8 applied"},
    CommandRow{Command::LoggedInUser,          "LoggedInUser",          ModulePolicy,       15,  SessionPolicy,       Run::direct,   "",                                                                           "string user"},

    CommandRow{Command::GetInterfaces,         "GetInterfaces",         ModuleInterfaces,    1,  SessionInterfaces,   Run::direct,   "",                                                                           "vector<NetInterfaceInfo>"},
};
// clang-format on

static_assert([] {
    for (std::size_t i = 0; i < commandTable.size(); ++i) {
        if (static_cast<std::size_t>(commandTable[i].command) != i) return false;
    }
    return true;
}());

constexpr const CommandRow& commandRow(Command command) { return commandTable[static_cast<std::size_t>(command)]; }

} // namespace panelkit
