// SPDX-License-Identifier: MIT
//
// Importing several certificates of a file by one command.
//
//   VpnCertsController controller;
//   ...controller.ParseCertFile(path, "", tokens, certificates, crls)...
//   std::vector<panelkit::ImportItem> items;
//   for (std::uint32_t i = 0; i < certificates.size() && i < 256; ++i) items.push_back({.item = i});
//   std::vector<ImportCertResult> results;
//   panelkit::importCertificates(controller, tokens[0], items, nullptr, results);
#pragma once

#include <panelkit/bridge/command_stream.h>
#include <panelkit/bridge/record.h>
#include <panelkit/certs/cert_results.h>

#include <platform/export.h>

#include <cstdint>
#include <vector>

class VpnCertsController;

namespace PKCS11 {
struct TokenInfo;
}

namespace panelkit {

// A certificate of the file that was parsed last, and how it is imported.
struct ImportItem {
    std::uint32_t item{}; // its index in the list that ParseCertFile filled
    CertImportMode mode{};
    bool extractable{}; // the private key, if one is imported with it, may be exported from the token later

    static auto fields(auto& self, auto&& io) { return io(self.item, self.mode, self.extractable); }
    bool operator==(const ImportItem&) const = default;
};
static_assert(RecordListsEveryMember<ImportItem>);

// Imports certificates of the file that the controller has parsed last, in their order. That is much faster than an
// ImportCertificate for each. Blocks as the controller's operations do, and calls its OnExecuteCommand meanwhile.
//   items     1 to 256 of them. Each is imported whole or not at all
//   pin       logs the user in for this command alone; null sends none, which is not the same as "". It is wiped from
//             all buffers of the library after it was sent
//   results   as ImportCertificate returns them: results[i] is that of items[i]. The import goes on after a certificate
//             that the token has already, and ends with the first that fails for another reason. So there are fewer
//             results than items then; bridge::lastRemarks() has the reason for the last one
// Returns false, with `results` unchanged, when the command could not be carried out (bridge::lastFailure() says why),
// also by a service that does not have it. Throws the text "CommandStreamError" when the reply ends early.
PANELKIT_EXPORT bool importCertificates(VpnCertsController& controller, const PKCS11::TokenInfo& token,
                                        const std::vector<ImportItem>& items, const char* pin,
                                        std::vector<ImportCertResult>& results);

} // namespace panelkit
