// SPDX-License-Identifier: MIT
#include <platform/loccore/placeholders.h>

namespace Loc {

namespace {

using std::string_view;

// Length of the run of characters of `set` at the start of `text`.
std::size_t run(string_view text, string_view set) {
    const std::size_t end = text.find_first_not_of(set);
    return end == string_view::npos ? text.size() : end;
}

// Length of the conversion that `text`, which begins with %, begins with; 0 when it does not begin with one.
std::size_t conversionAt(string_view text) {
    std::size_t end = 1;
    end += run(text.substr(end), "-+ #0");
    end += run(text.substr(end), "0123456789");
    if (end < text.size() && text[end] == '.') end += 1 + run(text.substr(end + 1), "0123456789");
    end += run(text.substr(end), "hlLjztq");
    if (end >= text.size() || string_view("diouxXeEfFgGaAcsp%").find(text[end]) == string_view::npos) return 0;
    if (text[end] == '%' && end != 1) return 0;
    return end + 1;
}

// The words between two % signs ("%else%").
std::vector<string_view> markers(string_view text) {
    std::vector<string_view> found;
    for (std::size_t at = text.find('%'); at != string_view::npos; at = text.find('%', at + 1)) {
        const std::size_t length = run(text.substr(at + 1), "abcdefghijklmnopqrstuvwxyz");
        if (length > 0 && at + 1 + length < text.size() && text[at + 1 + length] == '%') {
            found.push_back(text.substr(at, length + 2));
            at += length + 1;
        }
    }
    return found;
}

} // namespace

std::optional<std::vector<string_view>> conversions(string_view text) {
    std::vector<string_view> found;
    for (std::size_t at = text.find('%'); at != string_view::npos; at = text.find('%', at)) {
        const std::size_t length = conversionAt(text.substr(at));
        if (length == 0) return std::nullopt;
        found.push_back(text.substr(at, length));
        at += length;
    }
    return found;
}

bool samePlaceholders(string_view original, string_view translation) {
    if (const auto wanted = conversions(original)) return conversions(translation) == wanted;
    return markers(original) == markers(translation);
}

bool sameEdges(string_view original, string_view translation) {
    constexpr string_view blanks = " \n";
    const auto lead = [&](string_view text) { return text.substr(0, run(text, blanks)); };
    const auto tail = [&](string_view text) { return text.substr(text.find_last_not_of(blanks) + 1); };
    return lead(original) == lead(translation) && tail(original) == tail(translation);
}

} // namespace Loc
