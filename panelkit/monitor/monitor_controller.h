// SPDX-License-Identifier: MIT
//
// MonitorController: what the service knows and the other controllers do not tell: the state of providers and tokens,
// the key pairs on tokens, the labels of certificates in bulk, and settings that are written and not committed. Its
// commands have a module of their own, so that those of the other modules stay as they are.
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
#include <panelkit/monitor/unseen.h>

#include <platform/bridge/send_command_progress.h>

#include <cstdint>
#include <string>
#include <vector>

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
};

} // namespace panelkit
