// SPDX-License-Identifier: MIT
#include <panelkit/lparams/value_text.h>

#include <algorithm>
#include <charconv>

namespace panelkit {

namespace {

using std::string_view;

constexpr std::int64_t day = 86400;

constexpr string_view digits = "0123456789";

bool consistsOf(string_view text, string_view set) { return text.find_first_not_of(set) == string_view::npos; }

std::vector<string_view> split(string_view text, char separator) {
    std::vector<string_view> pieces;
    for (std::size_t end = text.find(separator); end != string_view::npos; end = text.find(separator)) {
        pieces.push_back(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
    pieces.push_back(text);
    return pieces;
}

std::string twoDigits(std::int64_t number) {
    return {static_cast<char>('0' + number / 10), static_cast<char>('0' + number % 10)};
}

} // namespace

template <class Integer>
std::optional<Integer> readDecimal(string_view text) {
    Integer number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end) return std::nullopt;
    return number;
}

template std::optional<std::uint16_t> readDecimal(string_view);
template std::optional<std::uint32_t> readDecimal(string_view);
template std::optional<std::int32_t> readDecimal(string_view);
template std::optional<std::int64_t> readDecimal(string_view);

std::string printChoice(const LPARAMS::Variant* row, int value, TextForm form) {
    if (form == TextForm::display) return row ? std::string(*row->text) : '=' + std::to_string(value);
    return std::to_string(value) + (row && row->name ? ' ' + std::string(row->name) : std::string());
}

// ---- times of day

std::string printTimeOfDay(std::int64_t seconds) {
    if (seconds < 0 || seconds >= day) return std::to_string(seconds) + 's';
    return twoDigits(seconds / 3600) + ':' + twoDigits(seconds / 60 % 60) + ':' + twoDigits(seconds % 60);
}

std::optional<std::int64_t> readTimeOfDay(string_view text) {
    if (text.ends_with('s')) return readDecimal<std::int64_t>(text.substr(0, text.size() - 1));
    const std::vector<string_view> fields = split(text, ':');
    if (fields.size() < 2 || fields.size() > 3) return std::nullopt;
    std::int64_t seconds = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        const string_view field = i < fields.size() ? fields[i] : "00";
        const bool rightSize = field.size() == 2 || (i == 0 && field.size() == 1);
        if (!rightSize || !consistsOf(field, digits)) return std::nullopt;
        const std::int64_t number = *readDecimal<std::int64_t>(field);
        if (number >= (i == 0 ? 24 : 60)) return std::nullopt;
        seconds = seconds * 60 + number;
    }
    return seconds;
}

// ---- addresses

namespace {

bool isIpv4(string_view text) {
    const std::vector<string_view> bytes = split(text, '.');
    return bytes.size() == 4 && std::all_of(bytes.begin(), bytes.end(), [](string_view byte) {
               return !byte.empty() && byte.size() <= 3 && consistsOf(byte, digits) &&
                      *readDecimal<std::uint32_t>(byte) <= 255;
           });
}

// How many 16-bit groups a list "1:2ab:3" has; nullopt when it is none. An IPv4 address at the end of the whole counts
// as two.
std::optional<std::size_t> countGroups(string_view list, bool isEnd) {
    if (list.empty()) return 0;
    std::size_t count = 0;
    std::vector<string_view> groups = split(list, ':');
    if (isEnd && groups.back().find('.') != string_view::npos) {
        if (!isIpv4(groups.back())) return std::nullopt;
        count = 2;
        groups.pop_back();
    }
    for (const string_view group : groups) {
        if (group.empty() || group.size() > 4 || !consistsOf(group, "0123456789abcdefABCDEF")) return std::nullopt;
        ++count;
    }
    return count;
}

bool isIpv6(string_view text) {
    const std::size_t zone = text.find('%');
    if (zone != string_view::npos && zone + 1 == text.size()) return false;
    text = text.substr(0, zone);
    const std::size_t gap = text.find("::");
    if (gap == string_view::npos) return countGroups(text, true) == 8;
    const auto head = countGroups(text.substr(0, gap), false);
    const auto tail = countGroups(text.substr(gap + 2), true);
    return head && tail && *head + *tail < 8;
}

bool isHostName(string_view text) {
    constexpr string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    const std::vector<string_view> labels = split(text.ends_with('.') ? text.substr(0, text.size() - 1) : text, '.');
    return text.size() <= 253 && std::all_of(labels.begin(), labels.end(), [&](string_view label) {
               return !label.empty() && label.size() <= 63 && consistsOf(label, letters) && label.front() != '-' &&
                      label.back() != '-';
           });
}

} // namespace

bool isHost(string_view text) {
    if (text.find(':') != string_view::npos) return isIpv6(text);
    return consistsOf(text, "0123456789.") ? isIpv4(text) : isHostName(text);
}

// ---- gateways

namespace {

constexpr string_view special = " \t\n;\"\\";

std::string quote(const std::string& word) {
    if (!word.empty() && word.find_first_of(special) == std::string::npos) return word;
    std::string quoted = "\"";
    for (const char c : word) {
        if (c == '"' || c == '\\') quoted += '\\';
        quoted += c;
    }
    return quoted + '"';
}

// Takes the word at the start of `text`, which begins with its opening quote.
std::optional<std::string> takeQuoted(string_view& text) {
    std::string word;
    for (std::size_t i = 1; i < text.size(); ++i) {
        if (text[i] == '"') {
            text.remove_prefix(i + 1);
            return word;
        }
        if (text[i] == '\\' && ++i == text.size()) break;
        word += text[i];
    }
    return std::nullopt;
}

std::optional<std::string> takeWord(string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n"), text.size()));
    if (text.starts_with('"')) return takeQuoted(text);
    const std::size_t end = std::min(text.find_first_of(special), text.size());
    if (end == 0) return std::nullopt;
    std::string word(text.substr(0, end));
    text.remove_prefix(end);
    return word;
}

} // namespace

std::string printGateways(const std::vector<Gateway>& gateways) {
    std::string text;
    for (const Gateway& gateway : gateways) {
        if (!text.empty()) text += "; ";
        text += quote(gateway[0]) + ' ' + quote(gateway[1]) + ' ' + quote(gateway[2]);
    }
    return text;
}

std::optional<std::vector<Gateway>> readGateways(string_view text) {
    std::vector<Gateway> gateways;
    const auto skipBlanks = [&] { text.remove_prefix(std::min(text.find_first_not_of(" \t\n"), text.size())); };
    for (skipBlanks(); !text.empty(); skipBlanks()) {
        if (!gateways.empty() && !text.starts_with(';')) return std::nullopt;
        if (!gateways.empty()) text.remove_prefix(1);
        for (std::string& field : gateways.emplace_back()) {
            auto word = takeWord(text);
            if (!word) return std::nullopt;
            field = *std::move(word);
        }
    }
    return gateways;
}

} // namespace panelkit
