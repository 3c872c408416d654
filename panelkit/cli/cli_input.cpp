// SPDX-License-Identifier: MIT
#include <panelkit/cli/cli_input.h>

#include <platform/codepage/convi.h>
#include <platform/console/console.h>
#include <platform/system/wipe.h>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr int controlC = 3;

// Changes the console's input mode for the scope.
class BorrowedMode {
public:
    BorrowedMode(platform::Console& console, std::uint32_t mode)
        : console_(console), borrowed_(console.borrowInputMode(mode)) {}
    ~BorrowedMode() {
        if (borrowed_) console_.returnInputMode();
    }
    BorrowedMode(const BorrowedMode&) = delete;
    BorrowedMode& operator=(const BorrowedMode&) = delete;

    bool borrowed() const { return borrowed_; }

private:
    platform::Console& console_;
    bool borrowed_;
};

// A secret as it is typed into the caller's buffer.
class SecretLine {
public:
    SecretLine(platform::Console& console, char* buffer, std::size_t size)
        : console_(console), utf8_(console.inputPage() == convi::utf8Page), buffer_(buffer), room_(size - 1) {}

    // Reads up to Enter. Returns false at the end of input, and when the buffer is full before Enter.
    bool read() {
        char character = 0;
        bool ended = false;
        while (!ended && length_ < room_ && console_.readCharacter(character)) ended = take(character);
        platform::wipe(&character, 1);
        return ended;
    }

private:
    // True when the character ends the line.
    bool take(char character) {
        switch (character) {
        case '\b': erase(); return false;
        case '\n':
        case '\r':
            console_.write("\n");
            buffer_[length_] = '\0';
            return true;
        default: store(character); return false;
        }
    }

    void store(char character) {
        if (length_ == 0 || !continues(character)) console_.write("*");
        buffer_[length_++] = character;
    }

    // Removes the character of the last star.
    void erase() {
        if (length_ == 0) return;
        console_.write("\b \b");
        while (length_ > 1 && continues(buffer_[length_ - 1])) buffer_[--length_] = '\0';
        buffer_[--length_] = '\0';
    }

    // Whether the byte continues a character. Only UTF-8 has such bytes; in other pages each byte counts as a
    // character.
    bool continues(char byte) const { return utf8_ && (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

    platform::Console& console_;
    bool utf8_;
    char* buffer_;
    std::size_t room_;
    std::size_t length_ = 0;
};

} // namespace

int cli_getch() {
    std::fflush(stdout);
    return platform::console().readKey();
}

int read_one_char() {
    const int key = cli_getch();
    if (key == controlC) {
        platform::console().write("\r\n");
        std::exit(0);
    }
    return key;
}

void SetStdinEcho(bool on) {
    platform::Console& console = platform::console();
    std::uint32_t mode = 0;
    if (!console.inputMode(mode)) return;
    console.setInputMode(on ? mode | platform::echoInput : mode & ~platform::echoInput);
}

char* passgets(char* buffer, std::size_t size) {
    platform::Console& console = platform::console();
    std::uint32_t mode = 0;
    if (!console.attached() || !console.inputMode(mode)) return nullptr;
    std::fflush(stdout);
    const BorrowedMode mine(console, platform::processedInput);
    if (!mine.borrowed() || !buffer || size <= 1) return nullptr;
    return SecretLine(console, buffer, size).read() ? buffer : nullptr;
}
