// SPDX-License-Identifier: MIT
#include <panelkit/lparams/formatted_params.h>

#include <algorithm>
#include <charconv>
#include <optional>

namespace panelkit {

namespace {

using std::string_view;
using Bits = std::vector<std::uint32_t>;

constexpr std::size_t mostWords = (highestProcessor + 1) / 32;

// Splits off the text before the first of `separators`; nullopt after the last piece. A text with n separators has n +
// 1 pieces, including empty ones.
class Pieces {
public:
    Pieces(string_view text, string_view separators) : rest_(text), separators_(separators) {}

    std::optional<string_view> next() {
        if (!rest_) return std::nullopt;
        const std::size_t end = rest_->find_first_of(separators_);
        const string_view piece = rest_->substr(0, end);
        if (end == string_view::npos) {
            rest_.reset();
        } else {
            rest_->remove_prefix(end + 1);
        }
        return piece;
    }

private:
    std::optional<string_view> rest_;
    string_view separators_;
};

// All of `text` as a number, without a sign.
bool readNumber(string_view text, int base, std::uint32_t& number) {
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, base);
    return error == std::errc() && stop == end && !text.empty();
}

bool readMask(string_view text, Bits& bits) {
    Pieces words(text, ",.");
    while (const auto word = words.next()) {
        std::uint32_t value = 0;
        if (word->size() > 8 || bits.size() == mostWords || !readNumber(*word, 16, value)) return false;
        bits.push_back(value);
    }
    return true;
}

bool readProcessor(string_view text, std::uint32_t& processor) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    return readNumber(text, 10, processor) && processor <= highestProcessor;
}

bool readItem(string_view item, Bits& bits) {
    std::uint32_t first = 0;
    const std::size_t dash = item.find('-');
    if (!readProcessor(item.substr(0, dash), first)) return false;
    std::uint32_t last = first;
    if (dash != string_view::npos) {
        const string_view end = item.substr(dash + 1);
        last = highestProcessor;
        if (!end.empty() && !readProcessor(end, last)) return false;
    }
    if (last < first) std::swap(first, last);
    if (bits.size() <= last / 32) bits.resize(last / 32 + 1);
    for (std::uint32_t i = first; i <= last; ++i) bits[i / 32] |= std::uint32_t{1} << i % 32;
    return true;
}

} // namespace

bool parseProcessors(string_view text, Bits& bits) {
    bits.clear();
    if (text.empty()) return false;
    if (text.starts_with("0x")) return readMask(text.substr(2), bits);
    if (text.starts_with("x")) return readMask(text.substr(1), bits);
    if (text == "*" || text == "-" || text == "ALL") return true;
    Pieces items(text, ",");
    while (const auto item = items.next()) {
        if (!readItem(*item, bits)) return false;
    }
    return true;
}

} // namespace panelkit
