// SPDX-License-Identifier: MIT
//
// VpnCertsController: lists, imports, exports and checks certificates, revocation lists (CRLs), preshared keys and
// certificate requests on tokens. Every operation is one command to the service's certificate module.
//
// A controller holds the "Certificates" session alone from its construction to its destruction. Operations block the
// calling thread, which must be the one thread of the front end that uses the session pool; while they wait they call
// OnExecuteCommand. They return false, or a value named notCarriedOut, when the command could not be carried out
// (bridge::lastFailure() says why). They throw the text "CommandStreamError" (a `const char*`) when a reply ends early;
// outputs may then be partly filled. Texts are UTF-8.
//
// When the session of a controller breaks, because the service went away or did not answer for too long, the controller
// stays unusable: each of its operations fails from then on. A new controller has a new session.
//
//   VpnCertsCLIController controller;
//   std::vector<CertInfo> certificates;
//   std::vector<PKCS11::TokenInfo> tokens;
//   if (controller.EnumCertificates(0, certificates, tokens)) {
//       for (std::size_t i = 0; i < certificates.size(); ++i) {
//           cli_printf("%s on %s\n", certificates[i].subject.c_str(), tokens[i].text1.c_str());
//       }
//   }
//
// Listings return two parallel vectors: tokens[i] is the token that holds object i, so a token occurs once for each of
// its objects. The selectors, flags and texts are described in docs/service-api.md.
#pragma once

#include <panelkit/certs/cert_records.h>
#include <panelkit/certs/cert_results.h>

#include <platform/bridge/send_command_progress.h>

#include <cstdint>
#include <string>
#include <vector>

namespace panelkit {
struct CertsSession;
}

class PANELKIT_EXPORT VpnCertsController : public SendCommandProgress::IdleLoop {
public:
    // Locks the "Certificates" session. If none can be opened (an unusable endpoint), every operation fails. Once the
    // session is broken (the service went away, or a command was given up: platform/bridge/call_limits.h), every
    // operation fails too: make a new controller.
    VpnCertsController();

    // A copy uses the same session as the original. Each of the two gives it back when it is destroyed; when the second
    // one does so, the session is closed and the pool opens every session of the process again. An assignment drops the
    // session that was held before. No session is ever freed, so no pointer becomes invalid; still, make one controller
    // and do not copy it.
    VpnCertsController(const VpnCertsController&) = default;
    VpnCertsController(VpnCertsController&&) = default;
    VpnCertsController& operator=(const VpnCertsController&) = default;
    VpnCertsController& operator=(VpnCertsController&&) = default;

    // Gives the session back.
    ~VpnCertsController() override;

    // Yields the processor once; called while an operation waits for the service.
    void OnExecuteCommand(const SendCommandProgress& progress) override;

    // ---- listings

    // Lists certificates; `selector` says which. Returns false with the vectors unchanged also when the service's reply
    // is empty; the same holds for the three listings.
    bool EnumCertificates(std::int32_t selector, std::vector<CertInfo>& certificates,
                          std::vector<PKCS11::TokenInfo>& tokens);
    bool EnumCRLs(std::vector<CRLInfo>& crls, std::vector<PKCS11::TokenInfo>& tokens);
    bool EnumPresharedKeys(std::vector<PresharedKeyInfo>& keys, std::vector<PKCS11::TokenInfo>& tokens);

    // Lists the tokens, each once, over the controller's own session.
    bool GetTokensList(std::vector<PKCS11::TokenInfo>& tokens);

    // Makes the service read the contents of the tokens again. Returns true when it did.
    bool ReloadAll(bool flag);

    // ---- import and export

    // Sends a whole file to the service, and lists what is in it and the tokens to which it can be imported.
    //   path   of the file; at most 4095 UTF-16 units. Null returns fileUnreadable
    //   text   for the service, the file's password for instance; "" for none, never null
    // The file is read with other writers locked out where the system can do this. The content and the text are wiped
    // after they were sent. The lists are filled on success and otherwise left unchanged. A file above 64 MiB
    // can't be sent and is not read: the result is notCarriedOut, and bridge::lastFailure() says why.
    ParseCertFileResult ParseCertFile(const char* path, const char* text, std::vector<PKCS11::TokenInfo>& tokens,
                                      std::vector<CertImportOption>& certificates, std::vector<CRLInfo>& crls);

    // Stores an object of the file that was parsed last on a token. `item` is its index in the list that ParseCertFile
    // filled. `text` is sent to the service and wiped after that; null sends no text, which is not the same as "".
    ImportCertResult ImportCertificate(const PKCS11::TokenInfo& token, std::uint32_t item, CertImportMode mode,
                                       bool flag, const char* text);
    ImportCRLResult ImportCRL(const PKCS11::TokenInfo& token, std::uint32_t item);

    // Exports a certificate in a format. `content` is replaced by the service's reply whatever the result, and left
    // unchanged when the command was not carried out.
    ExportCertResult ExportCertificate(const PKCS11::TokenInfo& token, const CertInfo& certificate,
                                       CertExportFormat format, const std::string& text, bool flag1, bool flag2,
                                       std::string& content);

    // ---- one certificate, identified by its records as they were listed

    // Replaces `certificate` by a new record from the service and fills `details` and `text`. Returns false with all of
    // them unchanged also when the service's reply is empty.
    bool GetCertDetails(const PKCS11::TokenInfo& token, CertInfo& certificate, CertExtentions& details,
                        std::string& text);

    // Returns the certificate's chain in the service's order; tokens[i] holds chain[i]. Both vectors are emptied first,
    // also when the call fails. The arguments may be elements of these vectors.
    bool GetCertChain(const PKCS11::TokenInfo& token, const CertInfo& certificate,
                      std::vector<PKCS11::TokenInfo>& tokens, std::vector<CertInfo>& chain);

    // Returns true when the certificate is valid. `text`, which must not be null, receives the service's explanation in
    // both cases. `value` says how to verify.
    bool VerifyCert(const PKCS11::TokenInfo& token, const CertInfo& certificate, std::int32_t value, std::string* text);

    // ---- changes to a token

    // Stores a preshared key. Both strings are wiped from the library's buffers after they were sent.
    bool CreatePresharedKey(const PKCS11::TokenInfo& token, const std::string& first, const std::string& second);

    bool DeletePresharedKey(const PKCS11::TokenInfo& token, const PresharedKeyInfo& key);
    bool DeleteCertificate(const PKCS11::TokenInfo& token, const CertInfo& certificate);
    bool DeleteCRL(const PKCS11::TokenInfo& token, const CRLInfo& crl);

    // Lists the types of key with which a certificate request can be made.
    bool GetCertRequestKeyInfo(const PKCS11::TokenInfo& token, std::vector<CertRequestKeyInfo>& choices);

    // Makes a certificate request; a key pair is made on the token if needed. That can take minutes and a person at the
    // token, so there is no time limit for this one command. `request` is replaced by the service's reply whatever the
    // result, and left unchanged when the command was not carried out.
    MakeCertRequestResult MakeCertRequest(const PKCS11::TokenInfo& token, const CertRequestInfo& info,
                                          std::string& request);

private:
    friend struct panelkit::CertsSession; // for importCertificates

    BridgeSession* session_; // locked; null when there is none
};

// The console front end's controller: while the service works it prints a line end, a dot each second, and a final line
// end to standard output. A command that takes less than 50 ms draws nothing.
class PANELKIT_EXPORT VpnCertsCLIController : public VpnCertsController {
public:
    VpnCertsCLIController() = default;
    VpnCertsCLIController(const VpnCertsCLIController&) = default;
    VpnCertsCLIController(VpnCertsCLIController&&) = default;
    VpnCertsCLIController& operator=(const VpnCertsCLIController&) = default;
    VpnCertsCLIController& operator=(VpnCertsCLIController&&) = default;
    ~VpnCertsCLIController() override;

    // Draws the dots; returns when the command has ended.
    void OnExecuteCommand(const SendCommandProgress& progress) override;
};

// For scripts and graphical front ends: prints nothing.
class PANELKIT_EXPORT VpnCertsSilentController : public VpnCertsController {
public:
    VpnCertsSilentController() = default;
    VpnCertsSilentController(const VpnCertsSilentController&) = default;
    VpnCertsSilentController(VpnCertsSilentController&&) = default;
    VpnCertsSilentController& operator=(const VpnCertsSilentController&) = default;
    VpnCertsSilentController& operator=(VpnCertsSilentController&&) = default;
    ~VpnCertsSilentController() override;
};
