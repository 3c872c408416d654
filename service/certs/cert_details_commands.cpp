// SPDX-License-Identifier: MIT
//
// Commands for one certificate: details, chain, verification, export.
#include <service/certs/cert_calls.h>

#include <service/base/refused.h>
#include <service/certs/certificate_details.h>
#include <service/certs/exporter.h>
#include <service/certs/verification.h>

#include <platform/system/clock.h>
#include <platform/system/secret.h>

namespace panelkitd {

using Loc::N_;
using panelkit::Command;
using panelkit::encodeReply;
using PKCS11::TokenInfo;
using vocabulary::ExportCert;
using vocabulary::Refused;
namespace verifyFlag = vocabulary::verifyFlag;

namespace {

// A check for IKE handles revocation as configured for IKE, unless the request says how.
std::uint32_t withRevocation(std::uint32_t how, CrlProcessing configured) {
    constexpr std::uint32_t forIke = static_cast<std::uint32_t>(vocabulary::VerifyPurpose::ikePeer);
    const bool saysItself = (how & (verifyFlag::crlRequired | verifyFlag::noRevocation)) != 0;
    if (saysItself || (how & verifyFlag::purposeMask) != forIke) return how;
    switch (configured) {
    case CrlProcessing::off: return how | verifyFlag::noRevocation;
    case CrlProcessing::strict: return how | verifyFlag::crlRequired;
    case CrlProcessing::soft: break;
    }
    return how;
}

// Remarks on certificates that are valid only because revocation is not checked.
constexpr Loc::MarkedWording<'s', 's'> leftOutByCommand =
    N_("Warning: \"%s\" is revoked since %s; this was not counted, because the command leaves revocation out");
constexpr Loc::MarkedWording<'s', 's'> leftOutByConfiguration =
    N_("Warning: \"%s\" is revoked since %s; this was not counted, because IKE.CRL_PROCESSING turns revocation off");

} // namespace

std::string CertCommands::certDetails(Call& call) {
    const TokenInfo token = readToken(call);
    const CertInfo record = readCertificate(call);
    const Holdings holdings = state_->look();
    const PlacedCertificate certificate = holdings.find(token, record);
    CertExtentions details = describeFully(*certificate.certificate);
    const CertificateFacts& facts = *certificate.certificate->facts;
    details.revokedAt = holdings.revokedAt(facts);
    if (const auto trust = holdings.trustIn(facts)) call.remarks.push_back(trustRemark(facts.info.subject, *trust));
    if (details.revokedAt != 0 && state_->configuration.settings().crlProcessing == CrlProcessing::off) {
        call.remarks.push_back(remark(Refused::notCounted,
                                      "Warning: \"%s\" is revoked since %s; for IKE this does not count, because "
                                      "IKE.CRL_PROCESSING turns revocation off",
                                      facts.info.subject, platform::dateText(details.revokedAt)));
    }
    return encodeReply<Command::GetCertDetails>(holdings.describe(certificate), details,
                                                printed(*certificate.certificate));
}

std::string CertCommands::certChain(Call& call) {
    const TokenInfo token = readToken(call);
    const CertInfo record = readCertificate(call);
    const Holdings holdings = state_->look();
    const std::vector<PlacedCertificate> chain = holdings.chainOf(holdings.find(token, record));
    std::vector<panelkit::Pair<TokenInfo, CertInfo>> links;
    for (const PlacedCertificate& link : chain) {
        links.push_back({link.place->token, holdings.describe(link)});
    }
    return encodeReply<Command::GetCertChain>(std::uint32_t{isComplete(chain)}, links);
}

std::string CertCommands::verifyCert(Call& call) {
    const TokenInfo token = readToken(call);
    const CertInfo record = readCertificate(call);
    std::int32_t asked = 0;
    readRequest<Command::VerifyCert, 2>(call, asked);
    const Holdings holdings = state_->look();
    auto how = static_cast<std::uint32_t>(asked);
    const auto& revokedAllTheSame = (how & verifyFlag::noRevocation) ? leftOutByCommand : leftOutByConfiguration;
    how = withRevocation(how, state_->configuration.settings().crlProcessing);
    const VerificationResult verdict = verify(holdings, holdings.find(token, record), how, revokedAllTheSame);
    call.remarks = verdict.remarks;
    return encodeReply<Command::VerifyCert>(verdict.verified, verdict.text);
}

std::string CertCommands::exportCertificate(Call& call) {
    const TokenInfo info = readToken(call);
    const CertInfo record = readCertificate(call);
    const platform::LockedPages request(call.in.rest());
    ExportWish wish;
    CertExportFormat format{};
    readRequest<Command::ExportCertificate, 2>(call, format, wish.password, wish.withChain, wish.withKey);
    wish.format = static_cast<vocabulary::CertExport>(format);
    if (wish.withKey) call.subject += " with its private key";
    if (wish.withKey && !call.byAdministrator) {
        throw DeniedError("private keys are exported for administrators of the service only, and %s is not one of them",
                          displayName(call.session.peer));
    }
    const auto answer = [&](const CertOutcome<ExportCert>& outcome) {
        return answered<Command::ExportCertificate>(call, outcome, inEnglish(outcome.why));
    };
    try {
        const CertOutcome<ExportCert> fit = checkWish(wish);
        if (fit.result != ExportCert::exported) return answer(fit);
        const Holdings holdings = state_->look();
        const PlacedCertificate placed = holdings.find(info, record);
        KeyHandle key;
        if (wish.withKey) {
            HeldToken token = state_->providers.hold(info);
            const CertOutcome<ExportCert> taken = takeKey(token, *placed.certificate, key);
            if (taken.result != ExportCert::exported) return answer(taken);
        }
        std::vector<PlacedCertificate> chain{placed};
        if (wish.withChain) chain = holdings.chainOf(placed);
        return answered<Command::ExportCertificate, ExportCert>(call, ExportCert::exported,
                                                                exported(wish, chain, key.get()));
    } catch (const RefusedError& refused) {
        if (refused.reason != Refused::noSuchToken && refused.reason != Refused::noSuchObject) throw;
        return answer({ExportCert::noSuchCertificate, refused.remarks});
    }
}

} // namespace panelkitd
