// SPDX-License-Identifier: MIT
#include <platform/codepage/pages.h>

#include <platform/codepage/charsets_posix.h>
#include <platform/system/wipe.h>

#include <iconv.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>

namespace platform {

namespace {

// UTF-16 in the machine's own byte order, without a byte order mark.
constexpr const char* utf16 = std::endian::native == std::endian::little ? "UTF-16LE" : "UTF-16BE";

// One iconv descriptor, and the text still to be converted. All pages here are without shift states.
class Conversion {
public:
    Conversion(const char* to, const char* from, std::string_view input)
        : descriptor_(iconv_open(to, from)), left_(input) {}
    ~Conversion() {
        if (valid()) iconv_close(descriptor_);
    }
    Conversion(const Conversion&) = delete;
    Conversion& operator=(const Conversion&) = delete;

    bool valid() const { return descriptor_ != iconv_t(-1); } // NOLINT: the value is the interface's own
    std::string_view left() const { return left_; }
    void skip(std::size_t bytes) { left_.remove_prefix(bytes); }

    // Converts up to the end and returns 0, or up to a character without a counterpart (EILSEQ) or an incomplete one at
    // the end of the input (EINVAL); left() then begins with that character.
    template <class Text>
    int run(Text& output) {
        while (!left_.empty()) {
            std::array<typename Text::value_type, longestPart> scratch; // never more units than bytes
            char* from = const_cast<char*>(left_.data());               // NOLINT: iconv does not change the input
            const std::size_t part = std::min(left_.size(), longestPart);
            std::size_t size = part;
            char* to = reinterpret_cast<char*>(scratch.data());
            std::size_t room = sizeof(scratch);
            const bool ended = iconv(descriptor_, &from, &size, &to, &room) != std::size_t(-1);
            const int error = ended ? 0 : errno;
            const bool cutByUs = error == EINVAL && part < left_.size();
            left_.remove_prefix(part - size);
            output.append(scratch.data(), (sizeof(scratch) - room) / sizeof(scratch[0]));
            wipe(scratch.data(), sizeof(scratch) - room);
            if (error != 0 && !cutByUs) return error;
        }
        return 0;
    }

private:
    // After a character without a counterpart, iconv processes all of its input again: with small parts, a text full of
    // such characters stays cheap.
    static constexpr std::size_t longestPart = 64;

    iconv_t descriptor_;
    std::string_view left_;
};

bool isUpperControl(unsigned character) { return character >= 0x80 && character <= 0x9F; }

// Whether the page has no character at the byte.
bool leavesEmpty(const char* charset, char byte) {
    Conversion conversion(utf16, charset, {&byte, 1});
    std::u16string text;
    return conversion.valid() && conversion.run(text) == EILSEQ;
}

// The replacement for a character that the page lacks.
char standIn(const char* charset, char16_t character) {
    const auto byte = static_cast<char>(character);
    return isUpperControl(character) && leavesEmpty(charset, byte) ? byte : '?';
}

} // namespace

bool knowsPage(std::uint32_t page) {
    const char* charset = charsetOfPage(page);
    return charset && charset != charsetOfPage(65001) && Conversion(utf16, charset, {}).valid();
}

void decodePage(std::uint32_t page, std::string_view bytes, std::u16string& text) {
    Conversion conversion(utf16, charsetOfPage(page), bytes);
    if (!conversion.valid()) return; // out of memory or descriptors; the text stays empty
    text.reserve(bytes.size());      // a byte of these pages becomes at most one unit
    while (const int error = conversion.run(text)) {
        const auto byte = static_cast<unsigned char>(conversion.left().front());
        text += error == EILSEQ && isUpperControl(byte) ? char16_t{byte} : u'\uFFFD';
        conversion.skip(1);
    }
}

void encodePage(std::uint32_t page, std::u16string_view text, std::string& bytes) {
    const char* charset = charsetOfPage(page);
    const std::string_view input(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t));
    Conversion conversion(charset, utf16, input);
    if (!conversion.valid()) return;
    bytes.reserve(text.size() * 2);
    while (conversion.run(bytes) != 0) {
        const std::size_t position = text.size() - conversion.left().size() / sizeof(char16_t);
        bytes += standIn(charset, text[position]);
        conversion.skip(sizeof(char16_t));
    }
}

} // namespace platform
