// SPDX-License-Identifier: MIT
//
// A file with certificates or CRLs that is sent to the service: checked before, and opened with its password.
#pragma once

#include <panelctl/base/exit_codes.h>
#include <panelctl/base/secrets.h>

#include <panelkit/certs/certs_controller.h>

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <vector>

namespace panelctl {

// The contents of the file. Objects are imported by their positions in the lists, until the controller parses another
// file.
struct FileContents {
    std::vector<PKCS11::TokenInfo> tokens;
    std::vector<CertImportOption> certificates;
    std::vector<CRLInfo> crls;
};

// Asks for the password of a file.
inline constexpr SecretQuestion questionForFile = N_("%s of %s: ");

// Throws CommandError for a file that can't be imported: missing, a folder or device, empty, not readable for this
// user, or larger than what can be sent.
void requireImportable(const std::string& utf8Path);

// Has the service open the file. When the file needs a password and no option gave one, it is asked for at the
// terminal. Throws CommandError.
FileContents parseFile(VpnCertsController& controller, const std::string& utf8Path, const SecretSource& password);

// The objects of a file that are imported one after the other. One that the token already has does not stop the import,
// and is an error only when nothing was imported.
class Imports {
public:
    explicit Imports(bool asJson) : asJson_(asJson) {}

    // Adds an object, with its JSON and its line for people. Throws its error when the import has to stop.
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
