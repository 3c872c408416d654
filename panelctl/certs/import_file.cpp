// SPDX-License-Identifier: MIT
#include <panelctl/certs/import_file.h>

#include <panelctl/base/output.h>
#include <panelctl/base/system.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/certs/cert_outcomes.h>

#include <platform/text/utf8_path.h>

#include <cstdint>
#include <filesystem>

namespace panelctl {

namespace fs = std::filesystem;

namespace {

// A frame of the bridge holds 64 MiB, for the file and its password.
constexpr std::uintmax_t largestFile = (64U << 20) - 8192;
constexpr std::uintmax_t mebibyte = 1U << 20;

[[noreturn]] void refuse(const std::string& why) { throw CommandError(Exit::badInput, why); }

} // namespace

void requireImportable(const std::string& utf8Path) {
    std::error_code error;
    const fs::file_status status = fs::status(platform::toPath(utf8Path), error);
    if (status.type() == fs::file_type::not_found) refuse(say("%s: there is no such file", utf8Path));
    if (error) refuse(utf8Path + ": " + error.message());
    if (fs::is_directory(status)) refuse(say("%s is a folder", utf8Path));
    if (!fs::is_regular_file(status)) refuse(say("%s is not a regular file", utf8Path));
    const std::uintmax_t size = fs::file_size(platform::toPath(utf8Path), error);
    if (error) refuse(utf8Path + ": " + error.message());
    if (size == 0) refuse(say("%s is empty", utf8Path));
    if (size > largestFile) {
        throw CommandError(Exit::tooLarge,
                           say("%s is too large to be sent to the service: %d MiB, and the limit is %d MiB", utf8Path,
                               size / mebibyte, largestFile / mebibyte));
    }
    const OpenedFile mayBeRead(utf8Path);
}

FileContents parseFile(VpnCertsController& controller, const std::string& utf8Path, const SecretSource& password) {
    requireImportable(utf8Path);
    FileContents file;
    const auto parse = [&](const Secret& secret) {
        return controller.ParseCertFile(utf8Path.c_str(), secret.text().c_str(), file.tokens, file.certificates,
                                        file.crls);
    };
    const auto needsPassword = static_cast<ParseCertFileResult>(vocabulary::ParseResult::passwordWrong);
    ParseCertFileResult result = parse(password.isGiven() ? password.read(escaped(utf8Path)) : Secret());
    if (result == needsPassword && !password.isGiven() && inputIsTerminal()) {
        result = parse(password.read(escaped(utf8Path)));
    }
    if (result != ParseCertFileResult::success) throw errorOf(result, {utf8Path, {}});
    return file;
}

// ---- several in a row

void Imports::add(nlohmann::ordered_json object, const std::string& line, const std::optional<CommandError>& error) {
    if (error && error->code != Exit::alreadyThere) {
        print(); // what was imported before
        throw CommandError(*error);
    }
    object["imported"] = !error;
    all_.push_back(std::move(object));
    if (error) {
        wereThere_.emplace_back(error->what());
        return;
    }
    any_ = true;
    if (!asJson_) printLine(line);
}

void Imports::print() const {
    if (asJson_) printJson(all_);
    for (const std::string& line : wereThere_) printNote(escaped(line));
}

void Imports::finish() const {
    if (any_ || wereThere_.empty()) return print();
    if (asJson_) printJson(all_);
    throw CommandError(Exit::alreadyThere, wereThere_.front(), {wereThere_.begin() + 1, wereThere_.end()});
}

} // namespace panelctl
