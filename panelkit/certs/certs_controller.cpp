// SPDX-License-Identifier: MIT
#include <panelkit/certs/certs_controller.h>

#include <panelkit/bridge/idle_hooks.h>
#include <panelkit/bridge/send_command.h>
#include <panelkit/certs/cert_file.h>

#include <platform/system/wipe.h>

#include <string_view>
#include <utility>

using panelkit::Command;
using panelkit::ProgressCommand;
using PKCS11::TokenInfo;

namespace {

// Reads as many pairs into parallel vectors, in place.
template <class Object>
void readPairs(CommandStreamIn& in, std::uint32_t count, std::vector<Object>& objects, std::vector<TokenInfo>& tokens) {
    objects.resize(count);
    tokens.resize(count);
    for (std::uint32_t i = 0; i < count; ++i) in >> tokens[i] >> objects[i];
}

// Reads one pair more. Neither vector grows when it ends early.
template <class Object>
void appendPair(CommandStreamIn& in, std::vector<Object>& objects, std::vector<TokenInfo>& tokens) {
    TokenInfo token;
    Object object;
    in >> token >> object;
    objects.push_back(std::move(object));
    tokens.push_back(std::move(token));
}

// The four bytes with which most acting commands are answered, whatever their value.
template <class Result>
Result readResult(const std::string& reply) {
    Result result{};
    CommandStreamIn(reply) >> result;
    return result;
}

// Lets a session wait without limit, and restores its setting however the scope ends.
class UnlimitedWait {
public:
    explicit UnlimitedWait(BridgeSession& session) : session_(session), saved_(session.waitSetting()) {
        session_.setWaitSetting(0);
    }
    ~UnlimitedWait() { session_.setWaitSetting(saved_); }
    UnlimitedWait(const UnlimitedWait&) = delete;
    UnlimitedWait& operator=(const UnlimitedWait&) = delete;

private:
    BridgeSession& session_;
    std::uint32_t saved_;
};

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

// ---- what there is

bool VpnCertsController::EnumCertificates(std::int32_t selector, std::vector<CertInfo>& certificates,
                                          std::vector<TokenInfo>& tokens) {
    ProgressCommand command(Command::EnumCertificates, session_, *this);
    if (!command.with(selector).executeForData()) return false;
    CommandStreamIn in(command.reply());
    readPairs(in, in.readCount<std::int32_t>(), certificates, tokens);
    return true;
}

bool VpnCertsController::EnumCRLs(std::vector<CRLInfo>& crls, std::vector<TokenInfo>& tokens) {
    ProgressCommand command(Command::EnumCRLs, session_, *this);
    if (!command.executeForData()) return false;
    CommandStreamIn in(command.reply());
    readPairs(in, in.readCount(), crls, tokens);
    // A service may send more pairs than it counted, a count of 0 included. They are lists like the others: whoever
    // stopped at the count would not show revocations that are in force.
    while (in.position() < in.size()) appendPair(in, crls, tokens);
    return true;
}

bool VpnCertsController::EnumPresharedKeys(std::vector<PresharedKeyInfo>& keys, std::vector<TokenInfo>& tokens) {
    ProgressCommand command(Command::EnumPresharedKeys, session_, *this);
    if (!command.executeForData()) return false;
    CommandStreamIn in(command.reply());
    readPairs(in, in.readCount<std::int32_t>(), keys, tokens);
    return true;
}

// The one listing of the tokens' module here, and the one for which an empty reply is malformed.
bool VpnCertsController::GetTokensList(std::vector<TokenInfo>& tokens) {
    ProgressCommand command(Command::EnumProviderTokens, session_, *this);
    if (!command.execute()) return false;
    CommandStreamIn(command.reply()) >> tokens;
    return true;
}

bool VpnCertsController::ReloadAll(bool flag) {
    return ProgressCommand(Command::CertsReloadAll, session_, *this).with(flag).execute();
}

// ---- from a file, and into one

ParseCertFileResult VpnCertsController::ParseCertFile(const char* path, const char* text,
                                                      std::vector<TokenInfo>& tokens,
                                                      std::vector<CertImportOption>& certificates,
                                                      std::vector<CRLInfo>& crls) {
    std::string content;
    const platform::WipeOnExit wiped(content); // it may hold a private key
    if (!panelkit::readCertFile(path, content)) return ParseCertFileResult::fileUnreadable;

    ProgressCommand command(Command::ParseCertFile, session_, *this);
    if (!command.with(content, std::string_view(text)).execute()) return ParseCertFileResult::notCarriedOut;
    CommandStreamIn in(command.reply());
    ParseCertFileResult result{};
    in >> result;
    if (result == ParseCertFileResult::success) in >> tokens >> certificates >> crls;
    return result;
}

ImportCertResult VpnCertsController::ImportCertificate(const TokenInfo& token, std::uint32_t item, CertImportMode mode,
                                                       bool flag, const char* text) {
    ProgressCommand command(Command::ImportCertificate, session_, *this);
    command.with(token, item, mode, flag);
    // No text adds nothing: the service tells it from an empty one by the length of the request.
    if (text) command.with(std::string_view(text));
    return command.execute() ? readResult<ImportCertResult>(command.reply()) : ImportCertResult::notCarriedOut;
}

ImportCRLResult VpnCertsController::ImportCRL(const TokenInfo& token, std::uint32_t item) {
    ProgressCommand command(Command::ImportCRL, session_, *this);
    const bool answered = command.with(token, item).execute();
    return answered ? readResult<ImportCRLResult>(command.reply()) : ImportCRLResult::notCarriedOut;
}

ExportCertResult VpnCertsController::ExportCertificate(const TokenInfo& token, const CertInfo& certificate,
                                                       CertExportFormat format, const std::string& text, bool flag1,
                                                       bool flag2, std::string& content) {
    ProgressCommand command(Command::ExportCertificate, session_, *this);
    command.with(token, certificate, format, text, flag1, flag2);
    if (!command.execute()) return ExportCertResult::notCarriedOut;
    ExportCertResult result{};
    CommandStreamIn(command.reply()) >> result >> content;
    return result;
}

// ---- one certificate

bool VpnCertsController::GetCertDetails(const TokenInfo& token, CertInfo& certificate, CertExtentions& details,
                                        std::string& text) {
    ProgressCommand command(Command::GetCertDetails, session_, *this);
    if (!command.with(token, certificate).executeForData()) return false;
    CommandStreamIn(command.reply()) >> certificate >> details >> text;
    return true;
}

bool VpnCertsController::GetCertChain(const TokenInfo& token, const CertInfo& certificate,
                                      std::vector<TokenInfo>& tokens, std::vector<CertInfo>& chain) {
    ProgressCommand command(Command::GetCertChain, session_, *this);
    command.with(token, certificate); // first: they may be elements of what is emptied now
    tokens.clear();
    chain.clear();
    if (!command.executeForData()) return false;
    CommandStreamIn in(command.reply());
    std::uint32_t unused{};
    std::int32_t count{};
    in >> unused >> count;
    for (std::int32_t i = 0; i < count; ++i) appendPair(in, chain, tokens);
    return true;
}

bool VpnCertsController::VerifyCert(const TokenInfo& token, const CertInfo& certificate, std::int32_t value,
                                    std::string* text) {
    ProgressCommand command(Command::VerifyCert, session_, *this);
    if (!command.with(token, certificate, value).executeForData()) return false;
    bool verified = false;
    CommandStreamIn(command.reply()) >> verified >> *text;
    return verified;
}

// ---- what changes a token

bool VpnCertsController::CreatePresharedKey(const TokenInfo& token, const std::string& first,
                                            const std::string& second) {
    ProgressCommand command(Command::CreatePresharedKey, session_, *this);
    return command.with(token, first, second).execute() && panelkit::readStatus(command.reply());
}

bool VpnCertsController::DeletePresharedKey(const TokenInfo& token, const PresharedKeyInfo& key) {
    return ProgressCommand(Command::DeletePresharedKey, session_, *this).with(token, key).execute();
}

bool VpnCertsController::DeleteCertificate(const TokenInfo& token, const CertInfo& certificate) {
    return ProgressCommand(Command::DeleteCertificate, session_, *this).with(token, certificate).execute();
}

bool VpnCertsController::DeleteCRL(const TokenInfo& token, const CRLInfo& crl) {
    return ProgressCommand(Command::DeleteCRL, session_, *this).with(token, crl).execute();
}

bool VpnCertsController::GetCertRequestKeyInfo(const TokenInfo& token, std::vector<CertRequestKeyInfo>& choices) {
    ProgressCommand command(Command::GetCertRequestKeyInfo, session_, *this);
    if (!command.with(token).execute()) return false;
    CommandStreamIn(command.reply()) >> choices;
    return true;
}

MakeCertRequestResult VpnCertsController::MakeCertRequest(const TokenInfo& token, const CertRequestInfo& info,
                                                          std::string& request) {
    if (!session_) return MakeCertRequestResult::notCarriedOut;
    ProgressCommand command(Command::MakeCertRequest, session_, *this);
    {
        const UnlimitedWait waiting(*session_);
        if (!command.with(token, info).execute()) return MakeCertRequestResult::notCarriedOut;
    }
    MakeCertRequestResult result{};
    CommandStreamIn(command.reply()) >> result >> request;
    return result;
}
