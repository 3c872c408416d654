// SPDX-License-Identifier: MIT
//
// VpnCertsController: what a front end does with certificates, revocation lists (CRLs), preshared keys and certificate
// requests on tokens. Every operation is one command to the service's certificate module.
//
// A controller holds the "Certificates" session alone from its construction to its destruction. Operations block the
// calling thread and belong, with the session pool, to the front end's one thread; meanwhile OnExecuteCommand is called
// on it. They answer false, or a value named notCarriedOut, when the command could not be carried out
// (bridge::lastFailure() says why), and throw the text "CommandStreamError" (a `const char*`) when a reply ends early:
// outputs may then be partly filled. Texts are UTF-8.
//
// A controller whose session broke, because the service went away or was silent for too long, stays dead: each of its
// operations fails from then on. A new controller has a new session.
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
// Listings give two parallel vectors: tokens[i] is the token that holds object i, so a token comes once for each of its
// objects. What the selectors, flags and texts of the service at hand mean stands in docs/service-api.md.
#pragma once

#include <panelkit/certs/cert_records.h>
#include <panelkit/certs/cert_results.h>

#include <platform/bridge/send_command_progress.h>

#include <cstdint>
#include <string>
#include <vector>

class PANELKIT_EXPORT VpnCertsController : public SendCommandProgress::IdleLoop {
public:
    // Locks the "Certificates" session. There may be none (an unusable endpoint): every operation then fails.
    VpnCertsController();

    // A copy shares the session and owns it as little or as much as the original: each of them hands it back when it is
    // destroyed. The second one to do so closes it, upon which the pool opens every session of the process anew; an
    // assignment drops the session that was held before. Nothing dangles, since no session is ever freed, but front
    // ends do better to make one controller and not to copy it.
    VpnCertsController(const VpnCertsController&) = default;
    VpnCertsController(VpnCertsController&&) = default;
    VpnCertsController& operator=(const VpnCertsController&) = default;
    VpnCertsController& operator=(VpnCertsController&&) = default;

    // Hands the session back.
    ~VpnCertsController() override;

    // Yields the processor once; called while an operation waits for the service.
    void OnExecuteCommand(const SendCommandProgress& progress) override;

    // ---- what there is

    // Lists certificates; the selector says which. False, with the vectors untouched, also when the service answers
    // nothing at all; that goes for the three listings.
    bool EnumCertificates(std::int32_t selector, std::vector<CertInfo>& certificates,
                          std::vector<PKCS11::TokenInfo>& tokens);
    bool EnumCRLs(std::vector<CRLInfo>& crls, std::vector<PKCS11::TokenInfo>& tokens);
    bool EnumPresharedKeys(std::vector<PresharedKeyInfo>& keys, std::vector<PKCS11::TokenInfo>& tokens);

    // Lists the tokens, each once, over the controller's own session.
    bool GetTokensList(std::vector<PKCS11::TokenInfo>& tokens);

    // Has the service read the tokens' contents anew. True when it did.
    bool ReloadAll(bool flag);

    // ---- from a file, and into one

    // Sends a whole file to the service and tells what is in it: certificates, CRLs, and the tokens they can go to.
    //   path   of the file; at most 4095 UTF-16 units. Null gives fileUnreadable
    //   text   for the service, the file's password for instance; "" for none, never null
    // The file is read with other writers shut out where the system can. What was read and the text are wiped once they
    // are sent. The lists are filled on success and else left alone. A file above 64 MiB is read, but no request of
    // that size is sent: notCarriedOut.
    ParseCertFileResult ParseCertFile(const char* path, const char* text, std::vector<PKCS11::TokenInfo>& tokens,
                                      std::vector<CertImportOption>& certificates, std::vector<CRLInfo>& crls);

    // Stores an object of the file that was parsed last on a token. `item` is its place in the list that ParseCertFile
    // filled. `text` is for the service and wiped once it is sent; null sends none, which is not the same as "".
    ImportCertResult ImportCertificate(const PKCS11::TokenInfo& token, std::uint32_t item, CertImportMode mode,
                                       bool flag, const char* text);
    ImportCRLResult ImportCRL(const PKCS11::TokenInfo& token, std::uint32_t item);

    // Gives a certificate's bytes in a format. `content` is replaced by what the service answers whatever the result,
    // and kept when the command was not carried out.
    ExportCertResult ExportCertificate(const PKCS11::TokenInfo& token, const CertInfo& certificate,
                                       CertExportFormat format, const std::string& text, bool flag1, bool flag2,
                                       std::string& content);

    // ---- one certificate, named by the records as they were listed

    // Replaces `certificate` by the service's fresh record and fills `details` and `text`. False, with all of them
    // untouched, also when the service answers nothing.
    bool GetCertDetails(const PKCS11::TokenInfo& token, CertInfo& certificate, CertExtentions& details,
                        std::string& text);

    // Gives the chain that the certificate builds, in the service's order; tokens[i] holds chain[i]. Both vectors are
    // emptied first, also for a call that fails; the arguments may be elements of theirs.
    bool GetCertChain(const PKCS11::TokenInfo& token, const CertInfo& certificate,
                      std::vector<PKCS11::TokenInfo>& tokens, std::vector<CertInfo>& chain);

    // True when the certificate verifies. `text`, which must not be null, receives the service's words, also when it
    // does not verify. `value` says how to verify.
    bool VerifyCert(const PKCS11::TokenInfo& token, const CertInfo& certificate, std::int32_t value, std::string* text);

    // ---- what changes a token

    // Stores a preshared key. Both strings are wiped from the library's buffers once they are sent.
    bool CreatePresharedKey(const PKCS11::TokenInfo& token, const std::string& first, const std::string& second);

    bool DeletePresharedKey(const PKCS11::TokenInfo& token, const PresharedKeyInfo& key);
    bool DeleteCertificate(const PKCS11::TokenInfo& token, const CertInfo& certificate);
    bool DeleteCRL(const PKCS11::TokenInfo& token, const CRLInfo& crl);

    // Lists what types of key a certificate request can be made with.
    bool GetCertRequestKeyInfo(const PKCS11::TokenInfo& token, std::vector<CertRequestKeyInfo>& choices);

    // Makes a certificate request, with a key pair that is made on the token if need be. That can take minutes and a
    // person at the token, so the session waits without limit for this one command. `request` is replaced by what the
    // service answers whatever the result, and kept when the command was not carried out.
    MakeCertRequestResult MakeCertRequest(const PKCS11::TokenInfo& token, const CertRequestInfo& info,
                                          std::string& request);

private:
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
