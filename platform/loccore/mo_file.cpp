// SPDX-License-Identifier: MIT
#include <platform/loccore/mo_file.h>

#include <platform/stream/little_endian.h>

#include <cstdint>

namespace Loc {

namespace {

constexpr std::uint32_t magic = 0x950412de;
constexpr std::size_t headerSize = 28;

// Bounds are tested as `need > size - offset` after `offset > size`, so no sum can wrap.
class Words {
public:
    explicit Words(std::string_view bytes) : bytes_(bytes) {}

    bool holds(std::uint64_t offset, std::uint64_t need) const {
        return offset <= bytes_.size() && need <= bytes_.size() - offset;
    }
    std::uint32_t at(std::size_t offset) const {
        return platform::loadLittleEndian<std::uint32_t>(bytes_.data() + offset);
    }
    // The text that the (length, offset) pair at `pair` describes.
    bool text(std::size_t pair, std::string_view& text) const {
        const std::uint64_t length = at(pair);
        const std::uint64_t offset = at(pair + 4);
        if (!holds(offset, length + 1) || bytes_[offset + length] != '\0') return false;
        text = bytes_.substr(offset, length);
        return true;
    }

private:
    std::string_view bytes_;
};

MoText split(std::string_view original, std::string_view translation) {
    const std::size_t mark = original.find('\4');
    if (mark == std::string_view::npos) return {std::nullopt, original, translation};
    return {original.substr(0, mark), original.substr(mark + 1), translation};
}

} // namespace

bool readMo(std::string_view bytes, std::vector<MoText>& texts, std::string& error) {
    texts.clear();
    const Words words(bytes);
    if (!words.holds(0, headerSize) || words.at(0) != magic || words.at(4) != 0) {
        error = "not a compiled catalogue";
        return false;
    }
    const std::uint64_t count = words.at(8);
    const std::size_t originals = words.at(12);
    const std::size_t translations = words.at(16);
    if (!words.holds(originals, 8 * count) || !words.holds(translations, 8 * count)) {
        error = "truncated: its tables lie outside the file";
        return false;
    }
    texts.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        std::string_view original, translation;
        if (!words.text(originals + 8 * i, original) || !words.text(translations + 8 * i, translation)) {
            error = "truncated: a text lies outside the file";
            return false;
        }
        texts.push_back(split(original, translation));
    }
    return true;
}

} // namespace Loc
