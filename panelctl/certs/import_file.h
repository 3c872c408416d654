// SPDX-License-Identifier: MIT
//
// A file with certificates or CRLs that is sent to the service: checked before, and opened with its password.
#pragma once

#include <panelctl/base/endings.h>
#include <panelctl/base/exit_codes.h>
#include <panelctl/base/progress.h>
#include <panelctl/base/secrets.h>

#include <panelkit/certs/certs_controller.h>

#include <nlohmann/json.hpp>

#include <atomic>
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

// The largest file that can be sent, in bytes.
inline constexpr std::size_t largestImport = (std::size_t{64} << 20) - 8192;

// Has the service open the file. When the file needs a password and no option gave one, it is asked for at the
// terminal. `name` is the file for people. Throws CommandError.
FileContents parseFile(VpnCertsController& controller, const std::string& utf8Path, const std::string& name,
                       const SecretSource& password);

// The objects of a file that are imported one after the other. One that the token already has does not stop the import,
// and is an error only when nothing was imported. On a terminal, an import that takes longer than a second shows how
// far it is. Ctrl-C ends it after the command at hand, and the error says which are done.
class Imports {
public:
    Imports(const Context& context, std::size_t count);

    // Adds an object, with its JSON, its name and its line for people. Throws its error when the import has to stop.
    void add(nlohmann::ordered_json object, const std::string& name, const std::string& line,
             const std::optional<CommandError>& error);

    // Called after each command to the service: shows how far the import is. Throws the error of an interruption.
    void commandEnded();

    // Ends the import with an error, which then says what was imported before.
    [[noreturn]] void stop(const CommandError& error);

    // Throws CommandError when nothing was imported.
    void finish();

private:
    void print();

    bool asJson_;
    std::size_t count_;
    ProgressBar bar_;
    std::atomic<bool> interrupted_{false};
    const Endings endings_;
    nlohmann::ordered_json all_ = nlohmann::ordered_json::array();
    std::vector<std::string> imported_; // names
    std::vector<std::string> wereThere_;
};

} // namespace panelctl
