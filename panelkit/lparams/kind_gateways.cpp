// SPDX-License-Identifier: MIT
//
// The list of a user's gateways: `gw1 "CN=a, O=b" 10.0.0.0/8; gw2 "" ""`. Values are read and printed without building
// groups.
#include <panelkit/loc/registered_texts.h>
#include <panelkit/lparams/kind_row.h>
#include <panelkit/lparams/param_vector.h>

#include <algorithm>
#include <array>
#include <vector>

namespace panelkit::kinds {

namespace {

using LPARAMS::Client::LSP_GATE;
using LPARAMS::Client::ParamVector;

// The fields of LSP_GATE: address, subject of its certificate, selector of the addresses that are reached through it.
struct Gateway {
    std::array<std::string, 3> texts;

    static auto fields(auto& self, auto&& io) { return io(self.texts[0], self.texts[1], self.texts[2]); }
};
using Gateways = std::vector<Gateway>;

// ---- as text

constexpr string_view blanks = " \t\n";
constexpr string_view special = " \t\n;\"\\";

void skipBlanks(string_view& text) { text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size())); }

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
    skipBlanks(text);
    if (text.starts_with('"')) return takeQuoted(text);
    const std::size_t end = std::min(text.find_first_of(special), text.size());
    if (end == 0) return std::nullopt;
    std::string word(text.substr(0, end));
    text.remove_prefix(end);
    return word;
}

std::string printGateways(const Gateways& gateways) {
    std::string text;
    for (const auto& [texts] : gateways) {
        if (!text.empty()) text += "; ";
        text += quote(texts[0]) + ' ' + quote(texts[1]) + ' ' + quote(texts[2]);
    }
    return text;
}

std::optional<Gateways> parseGateways(string_view text) {
    Gateways gateways;
    for (skipBlanks(text); !text.empty(); skipBlanks(text)) {
        if (!gateways.empty() && !text.starts_with(';')) return std::nullopt;
        if (!gateways.empty()) text.remove_prefix(1);
        for (std::string& field : gateways.emplace_back().texts) {
            auto word = takeWord(text);
            if (!word) return std::nullopt;
            field = *std::move(word);
        }
    }
    return gateways;
}

// ---- as JSON

// The bytes of one gateway.
std::string readFields(const json::Value& gateway, JsonRules rules) {
    std::string bytes;
    std::size_t known = 0;
    for (const Param* field : gatewayFields().params) {
        const json::Member* const member = gateway.find(field->key);
        if (!member && rules == JsonRules::stored) throw JsonMisfit("a gateway has no " + std::string(field->key));
        bytes += member ? readText(member->value, rules) : encoded(string_view());
        known += member ? 1 : 0;
    }
    if (gateway.kind == json::Kind::object && known == gateway.members.size()) return bytes;
    throw JsonMisfit("expected GATE_ADDRESS, CERT_SUBJECT and DST_SELECTOR for each gateway, and nothing else");
}

struct Gates : Common<ParamVector<LSP_GATE>, Gateways> {
    using P = ParamVector<LSP_GATE>;
    static constexpr int code = 8;
    static constexpr const char* name = "gateways";
    static constexpr ValueForm valueForm = ValueForm::gateways;

    static Gateways live(const P& param) {
        Gateways gateways;
        for (const auto& gate : param.items) {
            gateways.push_back({gate->GATE_ADDRESS.value, gate->CERT_SUBJECT.value, gate->DST_SELECTOR.value});
        }
        return gateways;
    }
    static Gateways standard(const P&) { return {}; }
    static void set(P& param, const Gateways& gateways) {
        param.items.clear();
        for (const auto& [texts] : gateways) {
            LSP_GATE& gate = *param.items.emplace_back(std::make_unique<LSP_GATE>());
            gate.GATE_ADDRESS.value = texts[0];
            gate.CERT_SUBJECT.value = texts[1];
            gate.DST_SELECTOR.value = texts[2];
        }
    }
    static std::size_t roomFor(const P& param) {
        std::size_t room = 4;
        for (const auto& gate : param.items) {
            for (const Param* field : gate->params) room += kindOf(*field).roomFor(*field);
        }
        return room;
    }
    static void skip(platform::StreamIn& body) {
        for (std::uint32_t left = body.readCount(); left > 0; --left) {
            for (const Param* field : gatewayFields().params) kindOf(*field).skip(body);
        }
    }

    static std::string print(const P&, const Gateways& value, TextForm) { return printGateways(value); }
    static std::optional<Gateways> parse(const P&, string_view text, TextForm) { return parseGateways(text); }
    static std::string legal(const P&, TextForm) {
        return registeredText("gateways separated by \";\", each GATE_ADDRESS CERT_SUBJECT DST_SELECTOR; "
                              "a word that is empty or has blanks is in double quotes");
    }

    static void printJson(const P&, string_view stored, std::string& to) {
        const char* separator = "";
        to += '[';
        for (const auto& [texts] : decoded<Gateways>(stored)) {
            to += std::exchange(separator, ", ");
            const char* before = "{\"";
            for (std::size_t i = 0; i < texts.size(); ++i) {
                to += std::string(std::exchange(before, ", \"")) + gatewayFields().params[i]->key + "\": ";
                printText(texts[i], to);
            }
            to += '}';
        }
        to += ']';
    }
    static std::string readJson(const P&, const json::Value& list, JsonRules rules) {
        if (list.kind != json::Kind::list) throw JsonMisfit("expected a list of gateways in brackets");
        std::string bytes = encoded(static_cast<std::uint32_t>(list.items.size()));
        for (const json::Value& gateway : list.items) bytes += readFields(gateway, rules);
        return bytes;
    }
};

} // namespace

constinit const ParamKind gatewaysKind = row<Gates>();

} // namespace panelkit::kinds
