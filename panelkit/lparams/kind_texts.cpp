// SPDX-License-Identifier: MIT
//
// Text kinds: any text, addresses, sets of processors, and the secret of quick crash detection.
#include <panelkit/format/hex_text.h>
#include <panelkit/format/ipv4.h>
#include <panelkit/format/ipv6.h>
#include <panelkit/loc/registered_texts.h>
#include <panelkit/lparams/formatted_params.h>
#include <panelkit/lparams/kind_row.h>

#include <platform/text/utf8_character.h>

#include <algorithm>

namespace panelkit::kinds {

void printText(string_view text, std::string& to) {
    if (platform::isValidUtf8(text)) return json::appendQuoted(text, to);
    to += R"({"hex": ")";
    appendHex(text, to);
    to += "\"}";
}

namespace {

using namespace LPARAMS::Client;

std::string readHex(string_view digits) {
    constexpr string_view hexDigits = "0123456789ABCDEF";
    std::string bytes;
    bytes.reserve(digits.size() / 2);
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        const std::size_t high = hexDigits.find(digits[i]), low = hexDigits.find(digits[i + 1]);
        if (high == string_view::npos || low == string_view::npos) break;
        bytes += static_cast<char>(high << 4 | low);
    }
    if (bytes.size() * 2 == digits.size()) return bytes;
    platform::wipe(bytes);
    throw JsonMisfit("expected an even number of the digits 0123456789ABCDEF after \"hex\"");
}

} // namespace

std::string readText(const json::Value& value, JsonRules rules) {
    if (value.kind == json::Kind::text) return encoded(value.text);
    const json::Member* const hex = value.members.size() == 1 ? value.find("hex") : nullptr;
    if (rules != JsonRules::stored || !hex || hex->value.kind != json::Kind::text) {
        throw JsonMisfit("expected a text in quotes");
    }
    std::string bytes = readHex(hex->value.text);
    const platform::WipeOnExit wiped(bytes);
    return encoded(bytes);
}

namespace {

template <class P>
struct AnyText : Common<P, string_view> {
    static constexpr ValueForm valueForm = ValueForm::text;

    static std::size_t roomFor(const P& param) { return 4 + param.value.size(); }
    static void skip(platform::StreamIn& body) { body.readView(); }

    static std::string print(const P&, string_view value, TextForm) { return std::string(value); }
    static std::optional<string_view> parse(const P&, string_view text, TextForm) { return text; }

    static void printJson(const P&, string_view stored, std::string& to) {
        printText(decoded<string_view>(stored), to);
    }
    static std::string readJson(const P&, const json::Value& value, JsonRules rules) { return readText(value, rules); }
};

struct PlainText : AnyText<StStParam> {
    static constexpr int code = 6;
    static constexpr const char* name = "text";

    static std::string legal(const StStParam&, TextForm) { return registeredText("any text"); }
};

// ---- addresses

bool consistsOf(string_view text, string_view set) { return text.find_first_not_of(set) == string_view::npos; }

bool isIPv4(string_view text) {
    IPv4Address address = 0;
    std::size_t end = 0;
    return parseIPv4Partial(text, address, end) && end == text.size();
}

// Decides what is looked up as a name, and differs from parseIPv6: a zone may follow and the last two groups may be an
// IPv4 address; brackets, a single leading colon, and a "::" in place of no group are errors.
bool isIPv6(string_view text) {
    const std::size_t zone = text.find('%');
    if (zone != string_view::npos && zone + 1 == text.size()) return false;
    std::string address(text.substr(0, zone));
    if (address.starts_with('[') || (address.starts_with(':') && !address.starts_with("::"))) return false;
    if (address.find('.') != std::string::npos) {
        const std::size_t afterColon = address.rfind(':') + 1;
        if (!isIPv4(string_view(address).substr(afterColon))) return false;
        address.resize(afterColon);
        address += "0:0";
    }
    // With at least one group in place of "::" there must not be too many groups.
    const std::size_t gap = address.find("::");
    if (gap != std::string::npos) address.insert(gap + 2, gap + 2 == address.size() ? "0" : "0:");
    IPv6Address ignored;
    return parseIPv6(address, ignored);
}

bool isLabel(string_view label) {
    constexpr string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    return !label.empty() && label.size() <= 63 && consistsOf(label, letters) && label.front() != '-' &&
           label.back() != '-';
}

bool isHostName(string_view text) {
    if (text.size() > 253) return false;
    if (text.ends_with('.')) text.remove_suffix(1);
    for (std::size_t dot = text.find('.'); dot != string_view::npos; dot = text.find('.')) {
        if (!isLabel(text.substr(0, dot))) return false;
        text.remove_prefix(dot + 1);
    }
    return isLabel(text);
}

struct Address : AnyText<AddrParam> {
    static constexpr int code = 3;
    static constexpr const char* name = "address";
    static constexpr bool hasFormat = true;

    // Text of only digits and dots must be an IPv4 address.
    static bool isLegal(const AddrParam&, string_view text) {
        if (text.find(':') != string_view::npos) return isIPv6(text);
        return text.empty() || (consistsOf(text, "0123456789.") ? isIPv4(text) : isHostName(text));
    }
    static std::string legal(const AddrParam&, TextForm) {
        return registeredText("an IPv4 or IPv6 address, a host name, or nothing");
    }
};

// ---- processors

struct Processors : AnyText<CPUsParam> {
    static constexpr int code = 6;
    static constexpr const char* name = "processors";
    static constexpr bool hasFormat = true;

    static bool isLegal(const CPUsParam&, string_view text) {
        std::vector<std::uint32_t> bits;
        return parseProcessors(text, bits);
    }
    static std::string legal(const CPUsParam&, TextForm) {
        return registeredText("ALL; numbers and ranges up to 2047, such as 0,2-3; a hexadecimal mask, such as 0x5");
    }
};

// ---- the secret of quick crash detection

struct QcdSecret : AnyText<QcdSParam> {
    static constexpr int code = 10;
    static constexpr const char* name = "qcd-secret";
    static constexpr bool hasFormat = true;
    static constexpr const char* pattern = "^(no|auto|([0-9absdefABCDEF]{2}){8,20})?$";

    // The value and a ":" may be put before the history.
    static std::size_t roomFor(const QcdSParam& param) { return 5 + param.value.size() + param.history.size(); }

    static bool isLegal(const QcdSParam&, string_view text) {
        return text.empty() || isQcdWord(text) || isQcdSecret(text);
    }
    static std::string legal(const QcdSParam&, TextForm) {
        return registeredText("an even number of 16 to 40 of the digits 0123456789absdefABCDEF; no; auto; nothing");
    }

    static std::string valueIn(string_view stored) { return encoded(qcdValueOf(decoded<string_view>(stored))); }
    static std::string storedWith(string_view value, string_view stored) {
        std::string history = qcdHistoryWith(decoded<string_view>(value), decoded<string_view>(stored));
        const platform::WipeOnExit wiped(history);
        return encoded(history);
    }

    static bool isWord(string_view text) { return isQcdWord(text); }
    static bool isLeftToService(string_view stored) { return isQcdSecretLeftToService(decoded<string_view>(stored)); }
};

} // namespace

constinit const ParamKind textKind = row<PlainText>();
constinit const ParamKind addressKind = row<Address>();
constinit const ParamKind processorsKind = row<Processors>();
constinit const ParamKind qcdSecretKind = row<QcdSecret>();

} // namespace panelkit::kinds
