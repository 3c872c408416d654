// SPDX-License-Identifier: MIT
#include <panelctl/certs/import_file.h>

#include <panelctl/base/output.h>
#include <panelctl/base/system.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/certs/cert_outcomes.h>

#include <platform/system/wipe.h>

#include <algorithm>
#include <cstdint>

namespace panelctl {

namespace {

constexpr std::uintmax_t mebibyte = 1U << 20;

[[noreturn]] void refuse(const std::string& why) { throw CommandError(Exit::badInput, why); }

} // namespace

void requireImportable(const std::string& utf8Path) {
    const auto [kind, size] = factsOf(utf8Path);
    if (kind == FileKind::missing) refuse(say("%s: there is no such file", utf8Path));
    if (kind == FileKind::folder) refuse(say("%s is a folder", utf8Path));
    if (kind != FileKind::regular) refuse(say("%s is not a regular file", utf8Path));
    if (size == 0) refuse(say("%s is empty", utf8Path));
    if (size > largestImport) {
        throw CommandError(Exit::tooLarge,
                           say("%s is too large to be sent to the service: %d MiB, and the limit is %d MiB", utf8Path,
                               size / mebibyte, largestImport / mebibyte));
    }
    const OpenedFile mayBeRead(utf8Path);
}

FileContents parseFile(VpnCertsController& controller, const std::string& utf8Path, const std::string& name,
                       const SecretSource& password) {
    requireImportable(utf8Path);
    FileContents file;
    const auto parse = [&](const Secret& secret) {
        return controller.ParseCertFile(utf8Path.c_str(), secret.text().c_str(), file.tokens, file.certificates,
                                        file.crls);
    };
    const auto needsPassword = static_cast<ParseCertFileResult>(vocabulary::ParseResult::passwordWrong);
    ParseCertFileResult result = parse(password.isGiven() ? password.read(escaped(name)) : Secret());
    if (result == needsPassword && !password.isGiven() && inputIsTerminal()) {
        result = parse(password.read(escaped(name)));
    }
    if (result != ParseCertFileResult::success) throw errorOf(result, {name, {}});
    return file;
}

// ---- several in a row

Imports::Imports(const Context& context, std::size_t count)
    : asJson_(context.json), count_(count), bar_(context, count), endings_([this] { interrupted_ = true; }) {}

void Imports::add(nlohmann::ordered_json object, const std::string& name, const std::string& line,
                  const std::optional<CommandError>& error) {
    bar_.hide();
    if (error && error->code != Exit::alreadyThere) stop(*error);
    object["imported"] = !error;
    all_.push_back(std::move(object));
    if (error) {
        wereThere_.emplace_back(error->what());
    } else {
        imported_.push_back(name);
        if (!asJson_) printLine(line);
        flushOutput(); // a line that was printed is not lost, however the program ends
    }
}

void Imports::commandEnded() {
    if (interrupted_ && all_.size() < count_) {
        stop({imported_.empty() ? Exit::interrupted : Exit::interruptedPartly, say("interrupted")});
    }
    bar_.show(all_.size());
}

void Imports::stop(const CommandError& error) {
    print(); // what was imported before
    std::vector<std::string> below = error.below;
    if (count_ > 1) {
        below.push_back(say("%d of %d were imported before", imported_.size(), count_));
        for (const std::string& name : imported_) below.push_back("  " + name);
    }
    throw CommandError(error.code, error.what(), std::move(below));
}

void Imports::print() {
    if (asJson_) printJson(all_);
    for (const std::string& line : wereThere_) printNote(escaped(line));
}

void Imports::finish() {
    if (!imported_.empty() || wereThere_.empty()) return print();
    if (asJson_) printJson(all_);
    throw CommandError(Exit::alreadyThere, wereThere_.front(), {wereThere_.begin() + 1, wereThere_.end()});
}

} // namespace panelctl
