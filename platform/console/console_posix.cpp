// SPDX-License-Identifier: MIT
//
// The console on POSIX: the terminal at standard input and output.
#include <platform/console/console.h>

#include <platform/codepage/charsets_posix.h>
#include <platform/codepage/convi.h>
#include <platform/console/terminal_loan_posix.h>
#include <platform/system/guarded.h>

#include <fcntl.h>
#include <langinfo.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <memory>
#include <type_traits>
#include <utility>

namespace platform {

namespace {

constexpr std::uint16_t russian = 0x0419;
constexpr std::uint16_t english = 0x0409;
constexpr char backspace = 8;

struct ModeBit {
    std::uint32_t bit;
    tcflag_t flag;
};
constexpr ModeBit modeBits[] = {{processedInput, ISIG}, {lineInput, ICANON}, {echoInput, ECHO}};

void applyMode(termios& modes, std::uint32_t mode) {
    for (const auto& [bit, flag] : modeBits) {
        if (mode & bit) {
            modes.c_lflag |= flag;
        } else {
            modes.c_lflag &= ~flag;
        }
    }
    if (!(mode & lineInput)) {
        modes.c_cc[VMIN] = 1;
        modes.c_cc[VTIME] = 0;
    }
}

// Every key is read as its plain code, as on Windows: Enter is 13, Ctrl+C 3, Ctrl+S 19.
void applyKeyMode(termios& modes) {
    applyMode(modes, 0);
    modes.c_lflag &= ~static_cast<tcflag_t>(IEXTEN);
    modes.c_iflag &= ~static_cast<tcflag_t>(ICRNL | INLCR | IGNCR | IXON);
}

// Whether `byte` is what the terminal has set for one of its control functions.
bool isControl(const termios& modes, int function, char byte) {
    const cc_t set = modes.c_cc[function];
    return set != _POSIX_VDISABLE && set == static_cast<cc_t>(byte);
}

// Most terminals send 127 for the backspace key, whatever the driver's setting is.
bool erases(const termios& modes, char byte) { return byte == 127 || isControl(modes, VERASE, byte); }

struct FreeLocale {
    void operator()(locale_t locale) const { ::freelocale(locale); }
};
using Locale = std::unique_ptr<std::remove_pointer_t<locale_t>, FreeLocale>;

// The locale is read without making it current: programs that do not set a locale stay in "C". The last one is kept,
// since the C library reads the files of a locale again when nothing has used it in between.
std::uint32_t localePage() {
    static Guarded<Locale> last;
    Locale locale(::newlocale(LC_CTYPE_MASK, "", nullptr));
    if (!locale) return 0;
    const std::uint32_t page = pageOfCharset(::nl_langinfo_l(CODESET, locale.get()));
    std::swap(*last.lock(), locale);
    return page;
}

// The language of messages from the environment: the first of the three variables that is set decides.
std::uint16_t messageLanguage() {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(name);
        if (value && *value) return std::string_view(value).starts_with("ru") ? russian : english;
    }
    return english;
}

class TerminalConsole : public Console {
public:
    bool attached() override { return ::fcntl(STDIN_FILENO, F_GETFD) != -1 && ::fcntl(STDOUT_FILENO, F_GETFD) != -1; }

    bool inputMode(std::uint32_t& mode) override {
        termios modes{};
        if (::tcgetattr(STDIN_FILENO, &modes) != 0) return false;
        mode = 0;
        for (const auto& [bit, flag] : modeBits) mode |= modes.c_lflag & flag ? bit : 0;
        return true;
    }

    bool setInputMode(std::uint32_t mode) override {
        termios modes{};
        if (::tcgetattr(STDIN_FILENO, &modes) != 0) return false;
        applyMode(modes, mode);
        return setTerminalModes(STDIN_FILENO, modes);
    }

    bool borrowInputMode(std::uint32_t mode) override {
        loan_ = std::make_unique<TerminalLoan>(STDIN_FILENO, [mode](termios& modes) { applyMode(modes, mode); });
        if (!loan_->active()) loan_.reset();
        return loan_ != nullptr;
    }

    void returnInputMode() override { loan_.reset(); }

    // The terminal's own end-of-file character (Ctrl+D) is the end of input, as it is for a line.
    bool readCharacter(char& character) override {
        if (!loan_ || !loan_->read(character) || isControl(loan_->former(), VEOF, character)) return false;
        if (erases(loan_->former(), character)) character = backspace;
        return true;
    }

    // Stars for a secret do not belong in a file, so a redirected output gets nothing.
    void write(std::string_view bytes) override {
        if (!::isatty(STDOUT_FILENO)) return;
        while (!bytes.empty()) {
            const ssize_t written = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
            if (written < 0 && errno != EINTR) return;
            if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
        }
    }

    int readKey() override {
        TerminalLoan loan(STDIN_FILENO, applyKeyMode);
        char key = 0;
        if (!loan.read(key)) return -1;
        return erases(loan.former(), key) ? backspace : static_cast<unsigned char>(key);
    }

    // Where the locale does not say, the terminal's driver may know that its input is UTF-8.
    std::uint32_t inputPage() override {
        const std::uint32_t page = localePage();
        termios modes{};
        if (page != 0 || ::tcgetattr(STDIN_FILENO, &modes) != 0) return page;
        return modes.c_iflag & IUTF8 ? convi::utf8Page : 0;
    }

    std::uint32_t outputPage() override { return localePage(); }

    // Widths and classes of characters depend on the current locale. C programs start in "C", in which every letter
    // beyond ASCII is unknown.
    void adoptLocale(const char*) override { std::setlocale(LC_CTYPE, ""); }

    std::uint16_t interfaceLanguage() override { return messageLanguage(); }
    std::uint16_t defaultLanguage() override { return messageLanguage(); }

private:
    std::unique_ptr<TerminalLoan> loan_;
};

} // namespace

Console& systemConsole() {
    static TerminalConsole console;
    return console;
}

} // namespace platform
