// SPDX-License-Identifier: MIT
//
// Times of day: seconds after midnight. The service may hold a number that is not a time of day; it is printed and read
// as "90000s".
#include <panelkit/format/digits.h>
#include <panelkit/loc/registered_texts.h>
#include <panelkit/lparams/formatted_params.h>
#include <panelkit/lparams/kind_row.h>

#include <array>

namespace panelkit::kinds {

namespace {

using LPARAMS::Client::TimeParam;

constexpr std::int64_t day = 86400;

std::string printTime(std::int64_t seconds) {
    if (seconds < 0 || seconds >= day) return std::to_string(seconds) + 's';
    std::array<char, 8> text{};
    char* to = text.data();
    for (const std::int64_t field : {seconds / 3600, seconds / 60 % 60, seconds % 60}) {
        if (to != text.data()) *to++ = ':';
        to = putNumber(to, static_cast<std::uint64_t>(field), 2);
    }
    return {text.data(), text.size()};
}

// Reads two digits (or one where allowed) and the separator of the next field.
bool takeField(string_view& text, std::uint32_t most, bool mayBeShort, std::uint32_t& field) {
    const std::size_t size = std::min(text.find(':'), text.size());
    const bool isRightSize = size == 2 || (mayBeShort && size == 1);
    if (!isRightSize || !wholeNumber(text.substr(0, size), most, field)) return false;
    text.remove_prefix(size);
    return true;
}

// "H:MM", "HH:MM:SS", with one or two digits for the hour; "90000s".
std::optional<std::int64_t> parseTime(string_view text) {
    if (text.ends_with('s')) return readDecimal<std::int64_t>(text.substr(0, text.size() - 1));
    std::uint32_t hour = 0, minute = 0, second = 0;
    const auto takeColon = [&] { return text.starts_with(':') && (text.remove_prefix(1), true); };
    if (!takeField(text, 23, true, hour) || !takeColon() || !takeField(text, 59, false, minute)) return std::nullopt;
    if (!text.empty() && (!takeColon() || !takeField(text, 59, false, second) || !text.empty())) return std::nullopt;
    return std::int64_t{(hour * 60 + minute) * 60 + second};
}

struct Time : Common<TimeParam, std::int64_t> {
    static constexpr int code = 9;
    static constexpr const char* name = "time";
    static constexpr ValueForm valueForm = ValueForm::time;
    static constexpr bool hasFormat = true;
    static constexpr const char* pattern = "^(([01]?[0-9]|2[0-3]):[0-5][0-9](:[0-5][0-9])?|-?[0-9]+s)$";

    static std::string print(const TimeParam&, std::int64_t value, TextForm) { return printTime(value); }
    static std::optional<std::int64_t> parse(const TimeParam&, string_view text, TextForm) { return parseTime(text); }
    static std::string legal(const TimeParam&, TextForm) {
        return registeredText("a time of day, such as 10:00 or 10:00:00; seconds, such as 36000s");
    }

    static void printJson(const TimeParam&, string_view stored, std::string& to) {
        json::appendQuoted(printTime(decoded<std::int64_t>(stored)), to);
    }
    static std::string readJson(const TimeParam&, const json::Value& value, JsonRules) {
        constexpr const char* expected = "expected a time of day, such as \"10:00:00\"";
        if (value.kind != json::Kind::text) throw JsonMisfit(expected);
        if (const auto seconds = parseTime(value.text)) return encoded(*seconds);
        throw JsonMisfit(expected, std::string(value.text));
    }
};

} // namespace

constinit const ParamKind timeKind = row<Time>();

} // namespace panelkit::kinds
