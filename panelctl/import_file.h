// SPDX-License-Identifier: MIT
//
// A file with certificates or CRLs on its way to the service: looked at before it is sent, opened with its password.
#pragma once

#include <panelctl/secrets.h>

#include <panelkit/certs/certs_controller.h>

#include <string>
#include <vector>

namespace panelctl {

// What is in it. Places in the lists name the objects to import, until the controller parses another file.
struct ParsedFile {
    std::vector<PKCS11::TokenInfo> tokens;
    std::vector<CertImportOption> certificates;
    std::vector<CRLInfo> crls;
};

// Throws CommandError for a file that can't be what is meant: missing, a folder or device, empty, not to be read by
// this user, or larger than what can be sent.
void requireImportable(const std::string& utf8Path);

// Has the service open the file. A password that it needs and no option gave is asked for where a person is there.
// Throws CommandError.
ParsedFile parseFile(VpnCertsController& controller, const std::string& utf8Path, const SecretSource& password);

} // namespace panelctl
