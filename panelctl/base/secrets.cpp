// SPDX-License-Identifier: MIT
#include <panelctl/base/secrets.h>

#include <panelctl/base/exit_codes.h>
#include <panelctl/base/mistakes.h>
#include <panelctl/base/system.h>
#include <panelctl/base/terminal_text.h>

#include <panelkit/cli/cli_input.h>
#include <panelkit/cli/cli_output.h>
#include <platform/system/wipe.h>

#include <CLI/CLI.hpp>

#include <array>
#include <cstdio>
#include <limits>

namespace panelctl {

namespace {

constexpr int standardInput = 0;
constexpr std::size_t longestSecret = 1024;

// Reads a line byte by byte. Returns false when the input was already at its end.
bool readLine(int descriptor, std::string& line) {
    line.reserve(longestSecret + 1); // so that it never grows, which would leave a copy in memory
    for (;;) {
        const int byte = readByte(descriptor);
        if (byte < 0) return !line.empty();
        if (byte == '\n') break;
        if (line.size() <= longestSecret)
            line.push_back(static_cast<char>(byte)); // one byte more shows that it is too long
    }
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return true;
}

// The prompt goes to the terminal, wherever standard output goes.
void printPrompt(const std::string& text) {
    const std::string safe = escaped(text); // it names a token or a file
    std::string converted = safe;           // not changed when there is no code page to convert to
    cli_sprintf(&converted, "%s", safe.c_str());
    std::fputs(converted.c_str(), stderr);
    std::fflush(stderr);
}

Secret promptOnce(const std::string& question, const std::string& what) {
    printPrompt(question);
    std::array<char, longestSecret> buffer{};
    const bool typed = passgets(buffer.data(), buffer.size()) != nullptr;
    std::string text = typed ? typedToUtf8(buffer.data()) : std::string();
    platform::wipe(buffer.data(), buffer.size());
    if (!typed) throw CommandError(Exit::usage, say("the %s can't be read from the terminal", what));
    return Secret(text);
}

} // namespace

Secret::Secret(std::string& takenAndWiped) : text_(takenAndWiped) { platform::wipe(takenAndWiped); }

Secret::~Secret() { platform::wipe(text_); }

Secret::Secret(Secret&& other) noexcept : text_(other.text_) { platform::wipe(other.text_); }

SecretSource::SecretSource(CLI::App& verb, std::string name, std::string what)
    : SecretSource(verb, std::move(name), std::move(what), N_("%s of token \"%s\": ")) {}

SecretSource::SecretSource(CLI::App& verb, std::string name, std::string what, SecretQuestion question)
    : name_(std::move(name)), what_(std::move(what)), question_(question) {
    verb.add_flag("--" + name_ + "-stdin", fromStandardInput_, say("Read the %s from a line of standard input", what_));
    verb.add_option("--" + name_ + "-fd", descriptor_, say("Read the %s from this file descriptor", what_))
        ->type_name("FD")
        ->check(numberBetween(0, std::numeric_limits<int>::max()));
    verb.add_option("--" + name_ + "-file", file_, say("Read the %s from this file", what_))->type_name("FILE");
}

int SecretSource::ways() const {
    return (fromStandardInput_ ? 1 : 0) + (descriptor_ >= 0 ? 1 : 0) + (file_.empty() ? 0 : 1);
}

Secret SecretSource::read(const std::string& ofWhat, bool asksTwice) const {
    if (ways() > 1) throw CommandError(Exit::usage, say("the %s is given in more than one way", what_));
    if (fromStandardInput_) {
        return fromDescriptor(standardInput, say("the %s can't be read from standard input", what_));
    }
    if (descriptor_ >= 0) {
        return fromDescriptor(descriptor_, say("the %s can't be read from descriptor %d", what_, descriptor_));
    }
    if (!file_.empty()) {
        OpenedFile file(file_);
        return fromDescriptor(file.descriptor(), say("the %s can't be read from %s", what_, file_));
    }
    if (!inputIsTerminal()) {
        throw CommandError(Exit::usage, say("the %1$s is missing and there is no terminal to ask for it; use "
                                            "--%2$s-stdin, --%2$s-fd or --%2$s-file",
                                            what_, name_));
    }
    return prompt(ofWhat, asksTwice);
}

Secret SecretSource::fromDescriptor(int descriptor, const std::string& whenUnreadable) const {
    std::string line;
    const bool read = readLine(descriptor, line);
    Secret secret(line);
    if (!read && (!mayBeEmpty_ || descriptor == standardInput)) throw CommandError(Exit::badInput, whenUnreadable);
    if (secret.text().empty() && !mayBeEmpty_) throw CommandError(Exit::badInput, say("the %s is empty", what_));
    if (secret.text().size() > longestSecret) {
        throw CommandError(Exit::badInput, say("the %s is longer than %d bytes", what_, longestSecret));
    }
    return secret;
}

Secret SecretSource::prompt(const std::string& ofWhat, bool asksTwice) const {
    Secret secret = promptOnce(say(question_, what_, ofWhat), what_);
    if (secret.text().empty()) throw CommandError(Exit::badInput, say("the %s is empty", what_));
    if (asksTwice) {
        const Secret again = promptOnce(say("Repeat it: "), what_);
        if (again.text() != secret.text()) {
            throw CommandError(Exit::badInput, say("the two entries differ; nothing was changed"));
        }
    }
    return secret;
}

Secret askSecret(const std::string& what, const std::string& ofWhat) {
    return promptOnce(say(SecretQuestion(N_("%s of token \"%s\": ")), what, ofWhat), what);
}

std::string ask(const std::string& question) {
    printPrompt(question);
    std::string line;
    readLine(standardInput, line);
    return typedToUtf8(line);
}

} // namespace panelctl
