// SPDX-License-Identifier: MIT
#include <panelctl/certs/import_source.h>

#include <panelctl/base/failure_text.h>
#include <panelctl/base/input.h>
#include <panelctl/base/output.h>
#include <panelctl/base/terminal_text.h>

#include <platform/system/wipe.h>
#include <vocabulary/refusals.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <set>

namespace panelctl {

namespace {

constexpr std::string_view beginning = "-----BEGIN ";

bool isPem(const std::string& content) { return content.find(beginning) != std::string::npos; }

// Whole, in one piece of memory, so that no copy of a key stays in memory that was freed.
std::string contentOf(const std::string& path) {
    if (path != "-") requireImportable(path);
    return readInput(path, largestImport);
}

// The blocks that the service found damaged, by their numbers in the file. The remarks are those on its answer.
std::set<std::size_t> damagedBlocks() {
    std::set<std::size_t> numbers;
    for (const bridge::Remark& remark : bridge::lastRemarks()) {
        if (remark.code != static_cast<std::uint32_t>(vocabulary::Refused::damagedBlock)) continue;
        if (remark.phrase.arguments.empty()) continue;
        const std::string& text = remark.phrase.arguments.front();
        std::size_t number = 0;
        std::from_chars(text.data(), text.data() + text.size(), number);
        numbers.insert(number);
    }
    return numbers;
}

// The place of the next line that begins a block; blocks are counted in the same way by the service.
std::size_t nextBlock(const std::string& content, std::size_t from) {
    for (std::size_t at = content.find(beginning, from); at != content.npos; at = content.find(beginning, at + 1)) {
        if (at == 0 || content[at - 1] == '\n' || content[at - 1] == '\r' || content[at - 1] == '\xBF') return at;
    }
    return content.npos;
}

std::string without(const std::set<std::size_t>& blocks, const std::string& content) {
    std::string rest;
    rest.reserve(content.size());
    std::size_t number = 0;
    for (std::size_t begin = nextBlock(content, 0); begin != content.npos;) {
        const std::size_t end = nextBlock(content, begin + 1);
        if (!blocks.contains(++number)) rest.append(content, begin, end - begin);
        begin = end;
    }
    return rest;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        lines.push_back("  " + text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

} // namespace

void ImportSource::options(CLI::App& verb) {
    verb.add_option("file", path, say("File: PEM, DER, PKCS#7 or PKCS#12; - reads standard input"))->required();
    verb.add_flag("--skip-damaged", skipDamaged, say("Leave out damaged blocks of a PEM file, and import the rest"));
    password.emplace(verb, "password", say("password"), questionForFile).mayBeEmpty();
}

void ImportSource::keyOption(CLI::App& verb) {
    verb.add_option("--key-file", keyPath, say("The private key of the certificate, when it is in a file of its own"))
        ->type_name("FILE");
}

std::string ImportSource::name() const { return inputName(path); }

FileContents ImportSource::parse(VpnCertsController& controller) const {
    if (path != "-" && keyPath.empty() && !skipDamaged) return parseFile(controller, path, name(), *password);
    std::string content = contentOf(path);
    const platform::WipeOnExit wiped(content);
    if (!keyPath.empty()) {
        std::string key = contentOf(keyPath);
        const platform::WipeOnExit keyWiped(key);
        if (isPem(content) != isPem(key)) {
            throw CommandError(Exit::badInput, say("%s and %s must both be PEM, or both be DER", name(), keyPath));
        }
        std::string both;
        both.reserve(content.size() + key.size() + 1);
        both.append(content).append(isPem(key) ? "\n" : "").append(key);
        platform::wipe(content);
        content.swap(both);
    }
    try {
        return parseFile(controller, MemoryFile(content).path(), name(), *password);
    } catch (const CommandError& error) {
        const std::set<std::size_t> damaged = damagedBlocks();
        if (!skipDamaged || damaged.empty()) throw;
        std::string rest = without(damaged, content);
        const platform::WipeOnExit restWiped(rest);
        noteError(CommandError(Exit::badInput, say("%s is damaged; these blocks are left out:", name()),
                               linesOf(remarksText(bridge::lastRemarks(), {}))));
        return parseFile(controller, MemoryFile(rest).path(), name(), *password);
    }
}

} // namespace panelctl
