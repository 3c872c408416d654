// SPDX-License-Identifier: MIT
//
// The table of commands in Markdown, from the rows of panelkit/bridge/commands.h.
#include <tools/documents/documents.h>

#include <panelkit/bridge/commands.h>

#include <string>
#include <string_view>
#include <utility>

namespace documents {

namespace {

using panelkit::Command;

constexpr const char* introduction = R"(# Commands

<!-- Made by panelkit_documents from panelkit/bridge/commands.h; do not edit. -->

Every command of the service, with the fields of its request and its reply in the order in which they travel.
[wire-format.md](wire-format.md) tells how fields are written, the headers of `panelkit/` what is in a record, and
[service-api.md](service-api.md) what panelkitd does with each command.

| in the table | in the stream |
|---|---|
| `bool`, `u32`, `i32` | 1 byte, 4 bytes, 4 bytes with a sign |
| `string` | its length as `u32`, then its bytes |
| `secret` | a `string` that is a PIN, a password, a key or a file that may hold one; transcripts do not show it |
| a name that ends in `Result`, `Mode`, `Format` or `Action` | an enumeration: 4 bytes |
| another name | a record |
| `list of X` | their number as `u32`, then each X |
| `N times (X, Y)` | a number of the type N, then as many pairs |
| `(X, Y) to the end` | pairs without a number, up to the end of the payload |
| `[X]` | may be missing |
| `bytes` | what is left of the payload, without a length |
| `nothing` | the payload is empty |
| `-` | the library does not read the reply |
)";

// ---- types as the table has them

// clang-format off
template <class Type> extern const std::string_view typeName; // a type without a name does not link
template <> constexpr std::string_view typeName<bool>                          = "bool";
template <> constexpr std::string_view typeName<std::int32_t>                  = "i32";
template <> constexpr std::string_view typeName<std::uint32_t>                 = "u32";
template <> constexpr std::string_view typeName<std::string>                   = "string";
template <> constexpr std::string_view typeName<panelkit::SecretText>          = "secret";
template <> constexpr std::string_view typeName<panelkit::Bytes>               = "bytes";
template <> constexpr std::string_view typeName<CertExportFormat>              = "CertExportFormat";
template <> constexpr std::string_view typeName<CertExtentions>                = "CertExtentions";
template <> constexpr std::string_view typeName<CertImportMode>                = "CertImportMode";
template <> constexpr std::string_view typeName<CertImportOption>              = "CertImportOption";
template <> constexpr std::string_view typeName<CertInfo>                      = "CertInfo";
template <> constexpr std::string_view typeName<CertRequestInfo>               = "CertRequestInfo";
template <> constexpr std::string_view typeName<CertRequestKeyInfo>            = "CertRequestKeyInfo";
template <> constexpr std::string_view typeName<CRLInfo>                       = "CRLInfo";
template <> constexpr std::string_view typeName<ExportCertResult>              = "ExportCertResult";
template <> constexpr std::string_view typeName<ImportCertResult>              = "ImportCertResult";
template <> constexpr std::string_view typeName<ImportCRLResult>               = "ImportCRLResult";
template <> constexpr std::string_view typeName<LSPcmd::LSPsettings_t>         = "LSPsettings_t";
template <> constexpr std::string_view typeName<LSPinfo_t>                     = "LSPinfo_t";
template <> constexpr std::string_view typeName<LSPrequest_t>                  = "LSPrequest_t";
template <> constexpr std::string_view typeName<MakeCertRequestResult>         = "MakeCertRequestResult";
template <> constexpr std::string_view typeName<NetInterfaceInfo>              = "NetInterfaceInfo";
template <> constexpr std::string_view typeName<ParseCertFileResult>           = "ParseCertFileResult";
template <> constexpr std::string_view typeName<PinStateMessage>               = "PinStateMessage";
template <> constexpr std::string_view typeName<PKCS11::ProviderInfo>          = "ProviderInfo";
template <> constexpr std::string_view typeName<PKCS11::TokenInfo>             = "TokenInfo";
template <> constexpr std::string_view typeName<panelkit::ImportItem>          = "ImportItem";
template <> constexpr std::string_view typeName<panelkit::KeyInfo>             = "KeyInfo";
template <> constexpr std::string_view typeName<panelkit::PolicyContent>       = "PolicyContent";
template <> constexpr std::string_view typeName<panelkit::ProviderState>       = "ProviderState";
template <> constexpr std::string_view typeName<panelkit::TokenLabels>         = "TokenLabels";
template <> constexpr std::string_view typeName<panelkit::TokenState>          = "TokenState";
template <> constexpr std::string_view typeName<panelkit::EngineInfo>          = "EngineInfo";
template <> constexpr std::string_view typeName<panelkit::TunnelAction>        = "TunnelAction";
template <> constexpr std::string_view typeName<panelkit::TunnelInfo>          = "TunnelInfo";
template <> constexpr std::string_view typeName<panelkit::UncommittedValue>    = "UncommittedValue";
template <> constexpr std::string_view typeName<PresharedKeyInfo>              = "PresharedKeyInfo";
// clang-format on

template <class Type>
struct Shown {
    static std::string text() { return std::string(typeName<Type>); }
};
template <class Type>
struct Shown<std::vector<Type>> {
    static std::string text() { return "list of " + Shown<Type>::text(); }
};
template <class Type>
struct Shown<panelkit::Optional<Type>> {
    static std::string text() { return '[' + Shown<Type>::text() + ']'; }
};
template <class First, class Second>
struct Shown<panelkit::MorePairs<First, Second>> {
    static std::string text() { return '(' + Shown<First>::text() + ", " + Shown<Second>::text() + ") to the end"; }
};
template <class Count, class First, class Second>
struct Shown<panelkit::Pairs<Count, First, Second>> {
    static std::string text() {
        return Shown<Count>::text() + " times (" + Shown<First>::text() + ", " + Shown<Second>::text() + ')';
    }
};
template <>
struct Shown<panelkit::Unread> {
    static std::string text() { return "-"; }
};
template <class... Types>
struct Shown<panelkit::Fields<Types...>> {
    static std::string text() {
        std::string list;
        ((list += (list.empty() ? "" : ", ") + Shown<Types>::text()), ...);
        return list.empty() ? "nothing" : list;
    }
};

// ---- the table

struct Module {
    ModuleIdType id;
    const char* heading;
};

constexpr Module modules[] = {
    {ModulePolicy, "the local security policy"},
    {ModuleTokens, "providers and tokens"},
    {ModuleCertificates, "certificates, CRLs, preshared keys, requests"},
    {ModuleInterfaces, "network interfaces"},
    {ModuleParameters, "the configuration"},
    {ModuleMonitor, "additions: states, keys, labels, uncommitted settings"},
};

template <Command command>
std::string row(ModuleIdType module) {
    const panelkit::CommandRow& its = panelkit::commandRow(command);
    if (its.module != module) return {};
    return "| " + std::to_string(its.code) + " | `" + std::string(its.name) + "` | " +
           Shown<panelkit::RequestOf<command>>::text() + " | " + Shown<panelkit::ReplyOf<command>>::text() + " |\n";
}

template <std::size_t... place>
std::string rows(ModuleIdType module, std::index_sequence<place...>) {
    return (std::string() + ... + row<static_cast<Command>(place)>(module));
}

} // namespace

std::string commandTable() {
    std::string text = introduction;
    for (const auto& [id, heading] : modules) {
        text += "\n## Module " + std::to_string(id) + ": " + heading + "\n\n| code | command | request | reply |\n";
        text += "|---|---|---|---|\n" + rows(id, std::make_index_sequence<panelkit::commandTable.size()>());
    }
    return text;
}

} // namespace documents
