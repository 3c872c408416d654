// SPDX-License-Identifier: MIT
//
// MonitorController: what the service knows and the other controllers do not tell: the state of providers and tokens,
// the key pairs on tokens, the labels of certificates in bulk, settings that are written and not committed, and the
// tunnels of the policy in force. Its commands have a module of their own, so that those of the other modules stay as
// they are.
//
// Operations block the calling thread, which must be the one thread of the front end that uses the session pool. They
// run over the "Monitor" session; those that use tokens call OnExecuteCommand while they wait. They return false when
// the service could not be reached or refused (bridge::lastFailure() says why), with their outputs unchanged. They
// throw the text "CommandStreamError" (a `const char*`) when a reply ends early; outputs may then be partly filled.
// Texts are UTF-8.
//
//   panelkit::MonitorController monitor;
//   std::vector<panelkit::KeyInfo> keys;
//   std::vector<PKCS11::TokenInfo> tokens;
//   if (monitor.EnumKeys(nullptr, keys, tokens)) {
//       for (std::size_t i = 0; i < keys.size(); ++i) {
//           cli_printf("%s on %s\n", keys[i].label.c_str(), tokens[i].text1.c_str());
//       }
//       for (const panelkit::Unseen& part : panelkit::lastUnseen()) cli_printf("%s\n", part.text().c_str());
//   }
//
// A service that does not have the module refuses every operation. docs/service-api.md describes who may use which.
#pragma once

#include <panelkit/certs/cert_records.h>
#include <panelkit/monitor/monitor_records.h>
#include <panelkit/monitor/tunnel_records.h>
#include <panelkit/monitor/unseen.h>

#include <platform/bridge/send_command_progress.h>

#include <cstdint>
#include <string>
#include <vector>

enum class MakeCertRequestResult : std::uint32_t;

namespace panelkit {

class PANELKIT_EXPORT MonitorController : public SendCommandProgress::IdleLoop {
public:
    MonitorController() = default;
    MonitorController(const MonitorController&) = default;
    MonitorController(MonitorController&&) = default;
    MonitorController& operator=(const MonitorController&) = default;
    MonitorController& operator=(MonitorController&&) = default;
    ~MonitorController() override;

    // Yields the processor once; called while an operation waits for the service.
    void OnExecuteCommand(const SendCommandProgress& progress) override;

    // ---- states

    // Tells the state of every provider, in their order, and of every token that is there or was removed. So a front
    // end can say what a listing could not see. Outputs are resized and filled in place.
    bool GetStates(std::vector<ProviderState>& providers, std::vector<TokenState>& tokens);

    // ---- keys

    // Lists the key pairs of a token, or of all tokens when it is null: tokens[i] holds keys[i]. A token that needs a
    // log-in shows its public keys only; lastUnseen() then names it. A single token that can't be read is an error.
    bool EnumKeys(const PKCS11::TokenInfo* token, std::vector<KeyInfo>& keys, std::vector<PKCS11::TokenInfo>& tokens);

    // Returns the public key of a pair as PEM ("BEGIN PUBLIC KEY"). Refused when its public half is not on the token.
    bool GetPublicKey(const PKCS11::TokenInfo& token, const KeyInfo& key, std::string& pem);

    // Makes a key pair whose private key never leaves the token. That can take minutes and a person at the token, so
    // there is no time limit for this one command.
    //   keyType, keyBits   one of the choices that VpnCertsController::GetCertRequestKeyInfo lists
    //   label              1 to 64 characters without control characters, which no key of the token has
    // `made` is replaced by the record of the new pair.
    bool GenerateKey(const PKCS11::TokenInfo& token, std::uint32_t keyType, std::uint32_t keyBits,
                     const std::string& label, KeyInfo& made);

    // Deletes the halves of a key pair that its record has. This can't be undone: its certificates become useless.
    // Refused, with nothing deleted, when the token has no such key any more, when it has several that fit the record,
    // or when a half has come or gone since the listing.
    bool DeleteKey(const PKCS11::TokenInfo& token, const KeyInfo& key);

    // Deletes a certificate and its key pair in one operation, the certificate first. Refused, with nothing deleted,
    // when the private key is not on the token or belongs to another certificate there as well.
    bool DeleteCertificateWithKey(const PKCS11::TokenInfo& token, const CertInfo& certificate);

    // Makes a certificate request as VpnCertsController::MakeCertRequest does, also with a key that asks for the PIN at
    // each use (KeyInfo::asksForPin), which that operation refuses.
    //   pin       the user's, also of a token that is logged in; not looked at for other keys. It is wiped from all
    //             buffers of the library after it was sent; the caller must wipe its own copy.
    //   result    as that operation returns it (panelkit/certs/cert_results.h)
    //   request   the request, or the reason in English why there is none
    // There is no time limit for this one command, as with GenerateKey.
    bool MakeCertRequestWithPin(const PKCS11::TokenInfo& token, const CertRequestInfo& info, const std::string& pin,
                                MakeCertRequestResult& result, std::string& request);

    // ---- labels

    // Lists the labels and identifiers of all certificates on a token, or on all tokens when it is null, in one
    // command.
    bool EnumCertLabels(const PKCS11::TokenInfo* token, std::vector<TokenLabels>& labels);

    // ---- settings

    // Lists the parameters that were written, by anybody, and are not committed. In the order of sections and keys.
    bool GetUncommitted(std::vector<UncommittedValue>& values);

    // Takes back what was written and not committed: the service holds the committed values again.
    //   names   sections ("IKE") and parameters ("IKE.EXCHANGE_TIMEOUT"), in upper or lower case; none means all
    // `reverted` is replaced by what was taken back. An unknown name is refused, with nothing changed.
    bool RevertSettings(const std::vector<std::string>& names, std::vector<UncommittedValue>& reverted);

    // ---- policies

    // Has the service read a policy file as an activation would. Nothing is stored, activated or announced.
    //   content   of the file, up to 1 MiB
    // Refused when the file has mistakes: bridge::lastRemarks() then has each of them, in the order of the lines. After
    // success it has what is legal and probably not intended. The first argument of such a remark is the line. Whether
    // the certificates and preshared keys of the policy exist is not looked at.
    bool CheckPolicy(const std::string& content, PolicyContent& policy);

    // ---- tunnels

    // Tells what puts the policy into force, and whether it protects traffic at all.
    bool GetEngine(EngineInfo& engine);

    // Lists the tunnels of the policy in force, in the order of its sections. A service whose engine does not protect
    // traffic has none. Refused when the policy in force is that of another user and the caller does not administer the
    // service.
    bool GetTunnels(std::vector<TunnelInfo>& tunnels);

    // Acts on the tunnel of a section. Returns when the request was accepted: a tunnel that comes up takes longer, and
    // GetTunnels tells how far it is.
    bool ActOnTunnel(const std::string& section, TunnelAction action);
};

} // namespace panelkit
