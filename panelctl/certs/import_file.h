// SPDX-License-Identifier: MIT
//
// A file with certificates or CRLs on its way to the service: looked at before it is sent, opened with its password.
#pragma once

#include <panelctl/exit_codes.h>
#include <panelctl/secrets.h>

#include <panelkit/certs/certs_controller.h>

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <vector>

namespace panelctl {

// What is in it. Places in the lists name the objects to import, until the controller parses another file.
struct ParsedFile {
    std::vector<PKCS11::TokenInfo> tokens;
    std::vector<CertImportOption> certificates;
    std::vector<CRLInfo> crls;
};

// Asks for the password of a file.
inline constexpr SecretQuestion questionForFile = N_("%s of %s: ");

// Throws CommandError for a file that can't be what is meant: missing, a folder or device, empty, not to be read by
// this user, or larger than what can be sent.
void requireImportable(const std::string& utf8Path);

// Has the service open the file. A password that it needs and no option gave is asked for where a person is there.
// Throws CommandError.
ParsedFile parseFile(VpnCertsController& controller, const std::string& utf8Path, const SecretSource& password);

// What becomes of the objects of a file that are imported one after the other. That the token has one already is no
// reason to stop, and an error only when nothing at all was imported.
class Imports {
public:
    explicit Imports(bool asJson) : asJson_(asJson) {}

    // One more, with how it is told to scripts and to people. Throws its error when that is a reason to stop.
    void add(nlohmann::ordered_json object, const std::string& line, const std::optional<CommandError>& error);

    // Throws CommandError when nothing was imported.
    void finish() const;

private:
    void print() const;

    bool asJson_;
    bool any_ = false;
    nlohmann::ordered_json all_ = nlohmann::ordered_json::array();
    std::vector<std::string> wereThere_;
};

} // namespace panelctl
