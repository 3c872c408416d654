// SPDX-License-Identifier: MIT
#include <panelkit/certs/certs_controller.h>

#include <panelkit/certs/cert_imports.h>

#include <panelkit/bridge/idle_hooks.h>
#include <panelkit/bridge/send_command.h>
#include <panelkit/certs/cert_file.h>

#include <platform/system/wipe.h>

#include <string_view>
#include <type_traits>
#include <utility>

using panelkit::CertFile;
using panelkit::Command;
using panelkit::ProgressCommand;
using panelkit::ReplyOf;
using panelkit::UnlimitedWait;
using PKCS11::TokenInfo;

namespace {

using panelkit::Fields;
using panelkit::Pairs;

// Reads the pairs that a reply begins with into parallel vectors, in place.
template <class Count, class Object, class... More>
void readPairs(CommandStreamIn& in, Fields<Pairs<Count, TokenInfo, Object>, More...>, std::vector<Object>& objects,
               std::vector<TokenInfo>& tokens) {
    const std::uint32_t count =
        in.readCount<Count>(leastWireSize<TokenInfo>() + leastWireSize<Object>(), sizeof(TokenInfo) + sizeof(Object));
    objects.resize(count);
    tokens.resize(count);
    for (std::uint32_t i = 0; i < count; ++i) in >> tokens[i] >> objects[i];
}

// Reads one more pair. Neither vector grows when the reply ends early.
template <class Object>
void appendPair(CommandStreamIn& in, std::vector<Object>& objects, std::vector<TokenInfo>& tokens) {
    TokenInfo token;
    Object object;
    in >> token >> object;
    objects.push_back(std::move(object));
    tokens.push_back(std::move(token));
}

// The four bytes with which most acting commands are answered, whatever their value.
template <Command command, class Result>
Result resultOf(ProgressCommand<command>& ready, Result notCarriedOut) {
    Result result = notCarriedOut;
    if (ready.execute()) ready.read(result);
    return result;
}

} // namespace

VpnCertsController::VpnCertsController() : session_(SessionsPool::LockSession(SessionCertificates)) {}

VpnCertsController::~VpnCertsController() {
    if (session_) SessionsPool::UnlockSession(SessionCertificates, session_);
}

VpnCertsCLIController::~VpnCertsCLIController() = default;
VpnCertsSilentController::~VpnCertsSilentController() = default;

void VpnCertsController::OnExecuteCommand(const SendCommandProgress&) { panelkit::yieldOnce(); }

void VpnCertsCLIController::OnExecuteCommand(const SendCommandProgress& progress) {
    panelkit::drawConsoleDots(progress);
}

// ---- listings

bool VpnCertsController::EnumCertificates(std::int32_t selector, std::vector<CertInfo>& certificates,
                                          std::vector<TokenInfo>& tokens) {
    ProgressCommand<Command::EnumCertificates> command(session_, *this);
    if (!command.with(selector).executeForData()) return false;
    CommandStreamIn in(command.reply());
    readPairs(in, ReplyOf<Command::EnumCertificates>(), certificates, tokens);
    return true;
}

bool VpnCertsController::EnumCRLs(std::vector<CRLInfo>& crls, std::vector<TokenInfo>& tokens) {
    ProgressCommand<Command::EnumCRLs> command(session_, *this);
    if (!command.executeForData()) return false;
    CommandStreamIn in(command.reply());
    readPairs(in, ReplyOf<Command::EnumCRLs>(), crls, tokens);
    // A service may send more pairs than it counted, a count of 0 included. They are lists like the others: whoever
    // stopped at the count would not show revocations that are in force.
    while (in.position() < in.size()) appendPair(in, crls, tokens);
    return true;
}

bool VpnCertsController::EnumPresharedKeys(std::vector<PresharedKeyInfo>& keys, std::vector<TokenInfo>& tokens) {
    ProgressCommand<Command::EnumPresharedKeys> command(session_, *this);
    if (!command.executeForData()) return false;
    CommandStreamIn in(command.reply());
    readPairs(in, ReplyOf<Command::EnumPresharedKeys>(), keys, tokens);
    return true;
}

// Uses a command of the token module. An empty reply is malformed here, unlike in the other listings.
bool VpnCertsController::GetTokensList(std::vector<TokenInfo>& tokens) {
    ProgressCommand<Command::EnumProviderTokens> command(session_, *this);
    if (!command.execute()) return false;
    command.read(tokens);
    return true;
}

bool VpnCertsController::ReloadAll(bool flag) {
    return ProgressCommand<Command::CertsReloadAll>(session_, *this).with(flag).execute();
}

// ---- import and export

ParseCertFileResult VpnCertsController::ParseCertFile(const char* path, const char* text,
                                                      std::vector<TokenInfo>& tokens,
                                                      std::vector<CertImportOption>& certificates,
                                                      std::vector<CRLInfo>& crls) {
    std::string content;
    const platform::WipeOnExit wiped(content); // it may hold a private key
    const CertFile file = panelkit::readCertFile(path, content);
    if (file == CertFile::unreadable) return ParseCertFileResult::fileUnreadable;
    if (file == CertFile::unsendable) return ParseCertFileResult::notCarriedOut;

    ProgressCommand<Command::ParseCertFile> command(session_, *this);
    if (!command.with(content, std::string_view(text)).execute()) return ParseCertFileResult::notCarriedOut;
    ParseCertFileResult result{};
    command.read(result);
    if (result == ParseCertFileResult::success) command.read(result, tokens, certificates, crls);
    return result;
}

ImportCertResult VpnCertsController::ImportCertificate(const TokenInfo& token, std::uint32_t item, CertImportMode mode,
                                                       bool flag, const char* text) {
    ProgressCommand<Command::ImportCertificate> command(session_, *this);
    // No text adds nothing: the service tells it from an empty one by the length of the request.
    if (text) {
        command.with(token, item, mode, flag, std::string_view(text));
    } else {
        command.with(token, item, mode, flag);
    }
    return resultOf(command, ImportCertResult::notCarriedOut);
}

// The session of a controller.
struct panelkit::CertsSession {
    static BridgeSession* of(const VpnCertsController& controller) { return controller.session_; }
};

bool panelkit::importCertificates(VpnCertsController& controller, const TokenInfo& token,
                                  const std::vector<ImportItem>& items, const char* pin,
                                  std::vector<ImportCertResult>& results) {
    ProgressCommand<Command::ImportCertificates> command(CertsSession::of(controller), controller);
    // No PIN adds nothing: the service tells it from an empty one by the length of the request.
    if (pin) {
        command.with(token, items, std::string_view(pin));
    } else {
        command.with(token, items);
    }
    if (!command.execute()) return false;
    command.read(results);
    return true;
}

ImportCRLResult VpnCertsController::ImportCRL(const TokenInfo& token, std::uint32_t item) {
    ProgressCommand<Command::ImportCRL> command(session_, *this);
    return resultOf(command.with(token, item), ImportCRLResult::notCarriedOut);
}

ExportCertResult VpnCertsController::ExportCertificate(const TokenInfo& token, const CertInfo& certificate,
                                                       CertExportFormat format, const std::string& text, bool flag1,
                                                       bool flag2, std::string& content) {
    ProgressCommand<Command::ExportCertificate> command(session_, *this);
    command.with(token, certificate, format, text, flag1, flag2);
    if (!command.execute()) return ExportCertResult::notCarriedOut;
    ExportCertResult result{};
    command.read(result, content);
    return result;
}

// ---- one certificate

bool VpnCertsController::GetCertDetails(const TokenInfo& token, CertInfo& certificate, CertExtentions& details,
                                        std::string& text) {
    ProgressCommand<Command::GetCertDetails> command(session_, *this);
    if (!command.with(token, certificate).executeForData()) return false;
    command.read(certificate, details, text);
    return true;
}

bool VpnCertsController::GetCertChain(const TokenInfo& token, const CertInfo& certificate,
                                      std::vector<TokenInfo>& tokens, std::vector<CertInfo>& chain) {
    ProgressCommand<Command::GetCertChain> command(session_, *this);
    command.with(token, certificate); // first: they may be elements of what is emptied now
    tokens.clear();
    chain.clear();
    if (!command.executeForData()) return false;
    CommandStreamIn in(command.reply());
    using Row = Fields<std::uint32_t, Pairs<std::int32_t, TokenInfo, CertInfo>>;
    static_assert(std::is_same_v<ReplyOf<Command::GetCertChain>, Row>);
    std::uint32_t unused{};
    std::int32_t count{};
    in >> unused >> count;
    for (std::int32_t i = 0; i < count; ++i) appendPair(in, chain, tokens);
    return true;
}

bool VpnCertsController::VerifyCert(const TokenInfo& token, const CertInfo& certificate, std::int32_t value,
                                    std::string* text) {
    ProgressCommand<Command::VerifyCert> command(session_, *this);
    if (!command.with(token, certificate, value).executeForData()) return false;
    bool verified = false;
    command.read(verified, *text);
    return verified;
}

// ---- changes to a token

bool VpnCertsController::CreatePresharedKey(const TokenInfo& token, const std::string& first,
                                            const std::string& second) {
    ProgressCommand<Command::CreatePresharedKey> command(session_, *this);
    return command.with(token, first, second).execute() && command.readStatus();
}

bool VpnCertsController::DeletePresharedKey(const TokenInfo& token, const PresharedKeyInfo& key) {
    return ProgressCommand<Command::DeletePresharedKey>(session_, *this).with(token, key).execute();
}

bool VpnCertsController::DeleteCertificate(const TokenInfo& token, const CertInfo& certificate) {
    return ProgressCommand<Command::DeleteCertificate>(session_, *this).with(token, certificate).execute();
}

bool VpnCertsController::DeleteCRL(const TokenInfo& token, const CRLInfo& crl) {
    return ProgressCommand<Command::DeleteCRL>(session_, *this).with(token, crl).execute();
}

bool VpnCertsController::GetCertRequestKeyInfo(const TokenInfo& token, std::vector<CertRequestKeyInfo>& choices) {
    ProgressCommand<Command::GetCertRequestKeyInfo> command(session_, *this);
    if (!command.with(token).execute()) return false;
    command.read(choices);
    return true;
}

MakeCertRequestResult VpnCertsController::MakeCertRequest(const TokenInfo& token, const CertRequestInfo& info,
                                                          std::string& request) {
    if (!session_) return MakeCertRequestResult::notCarriedOut;
    ProgressCommand<Command::MakeCertRequest> command(session_, *this);
    {
        const UnlimitedWait waiting(*session_);
        if (!command.with(token, info).execute()) return MakeCertRequestResult::notCarriedOut;
    }
    MakeCertRequestResult result{};
    command.read(result, request);
    return result;
}
