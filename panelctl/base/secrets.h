// SPDX-License-Identifier: MIT
//
// PINs and passwords for panelctl: from a prompt, standard input, a descriptor or a file; never from an argument, which
// every user of the host could read.
#pragma once

#include <panelctl/base/say.h>

#include <string>

namespace CLI {
class App;
}

namespace panelctl {

// A secret that is wiped with the object.
class Secret {
public:
    Secret() = default;
    explicit Secret(std::string& takenAndWiped);
    ~Secret();
    Secret(Secret&& other) noexcept;
    Secret& operator=(Secret&&) = delete;

    const std::string& text() const { return text_; }

private:
    std::string text_;
};

// The question for a secret. Its places are the name of the secret, and what it belongs to.
using SecretQuestion = Loc::MarkedWording<'s', 's'>;

// Where one secret of a verb comes from: its options --NAME-stdin, --NAME-fd and --NAME-file.
class SecretSource {
public:
    // `name` is the prefix of the options, "pin" for instance, `what` the name of the secret for people.
    // Without a `question`, it belongs to a token.
    SecretSource(CLI::App& verb, std::string name, std::string what);
    SecretSource(CLI::App& verb, std::string name, std::string what, SecretQuestion question);

    // Accepts an empty secret from an option, also an empty file: the password of a file may be empty.
    SecretSource& mayBeEmpty() {
        mayBeEmpty_ = true;
        return *this;
    }

    // Whether one of the options was given.
    bool isGiven() const { return ways() > 0; }

    // Reads the secret. Without an option, asks at the terminal, for a new secret (`asksTwice`) two times. Several
    // secrets on standard input are lines, in the order of the calls. Throws CommandError.
    Secret read(const std::string& ofWhat, bool asksTwice = false) const;

private:
    int ways() const;
    Secret fromDescriptor(int descriptor, const std::string& whenUnreadable) const;
    Secret prompt(const std::string& ofWhat, bool asksTwice) const;

    std::string name_;
    std::string what_;
    SecretQuestion question_;
    bool fromStandardInput_ = false;
    int descriptor_ = -1;
    std::string file_;
    bool mayBeEmpty_ = false;
};

// Asks for a secret of a token at the terminal.
Secret askSecret(const std::string& what, const std::string& ofWhat);

// Asks a question at the terminal. Returns the line that was typed.
std::string ask(const std::string& question);

} // namespace panelctl
