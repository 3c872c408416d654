// SPDX-License-Identifier: MIT
//
// Choices: numbers from a variant table. People enter their text in the current language, or =NUMBER. Files
// use the number and the symbolic name, so that they do not depend on a language.
#include <panelkit/format/nearest.h>
#include <panelkit/lparams/kind_row.h>
#include <platform/text/join.h>

#include <vector>

namespace panelkit::kinds {

namespace {

using LPARAMS::Variant;
using LPARAMS::Client::EnumParam;

const Variant* rowNamed(const Variant* table, string_view name) {
    for (const Variant* row = table; row->text; ++row) {
        if (row->name && name == row->name) return row;
    }
    return nullptr;
}

// "1 IKE2_FRAGM_AUTO"; the number alone when the table has no such row or the row has no name.
std::string storedText(const Variant* table, int value) {
    const Variant* row = findVariant(table, value);
    return std::to_string(value) + (row && row->name ? ' ' + std::string(row->name) : std::string());
}

// "1", "IKE2_FRAGM_AUTO", or both, which must then agree.
std::optional<int> parseStored(const Variant* table, string_view text) {
    const std::size_t blank = text.find(' ');
    const auto number = readDecimal<int>(text.substr(0, blank));
    if (blank == string_view::npos && number && findVariant(table, *number)) return number;
    const Variant* row = rowNamed(table, text.substr(blank + 1));
    return row && (blank == string_view::npos || number == row->value) ? std::optional(row->value) : std::nullopt;
}

int valueOutside(const Variant* table) {
    int value = -1;
    while (findVariant(table, value)) --value;
    return value;
}

struct Choice : Common<EnumParam, std::int32_t> {
    static constexpr int code = 4;
    static constexpr const char* name = "choice";
    static constexpr ValueForm valueForm = ValueForm::choice;

    static std::string print(const EnumParam& param, int value, TextForm form) {
        if (form == TextForm::stored) return storedText(param.variants, value);
        const Variant* row = findVariant(param.variants, value);
        return row ? std::string(*row->text) : '=' + std::to_string(value);
    }

    static std::optional<int> parse(const EnumParam& param, string_view text, TextForm form) {
        if (form == TextForm::stored) return parseStored(param.variants, text);
        if (text.starts_with('=')) return readDecimal<int>(text.substr(1));
        if (text.find('\0') != string_view::npos) return std::nullopt;
        return param.variants->getValue(std::string(text).c_str(), valueOutside(param.variants));
    }

    static bool isLegal(const EnumParam& param, int value) { return findVariant(param.variants, value); }

    static std::string legal(const EnumParam& param, TextForm form) {
        const char* quote = form == TextForm::display ? "\"" : "";
        std::vector<std::string> list;
        for (const Variant* row = param.variants; row->text; ++row) {
            list.push_back(quote + print(param, row->value, form) + quote);
        }
        return platform::joined(list);
    }
    static std::string nearest(const EnumParam& param, string_view text, TextForm form) {
        std::vector<string_view> texts;
        for (const Variant* row = param.variants; row->text; ++row) {
            if (const char* one = form == TextForm::display ? *row->text : row->name) texts.emplace_back(one);
        }
        return panelkit::nearest(text, texts);
    }
    static const Variant* choices(const EnumParam& param) { return param.variants; }

    static void printJson(const EnumParam& param, string_view stored, std::string& to) {
        const auto value = decoded<std::int32_t>(stored);
        const Variant* row = findVariant(param.variants, value);
        to += R"({"value": )" + std::to_string(value);
        if (row && row->name) {
            to += R"(, "name": )";
            json::appendQuoted(row->name, to);
        }
        to += '}';
    }

    // The number, the name, or {"value": number, "name": name}, where the name may be left out.
    static std::string readJson(const EnumParam& param, const json::Value& value, JsonRules) {
        if (value.kind == json::Kind::text) return encoded(valueNamed(param, value.text));
        if (value.kind != json::Kind::object) return encoded(readInteger<std::int32_t>(value));
        const json::Member* const number = value.find("value");
        const json::Member* const called = value.find("name");
        if (!number || value.members.size() > 1U + (called ? 1U : 0U) ||
            (called && called->value.kind != json::Kind::text)) {
            throw JsonMisfit(R"(expected {"value": NUMBER, "name": "NAME"})");
        }
        const auto chosen = readInteger<std::int32_t>(number->value);
        if (called && valueNamed(param, called->value.text) != chosen) {
            throw JsonMisfit(R"("value" and "name" are not the same choice; expected one of: )" +
                                 legal(param, TextForm::stored),
                             std::to_string(chosen) + ' ' + std::string(called->value.text));
        }
        return encoded(chosen);
    }

private:
    static std::int32_t valueNamed(const EnumParam& param, string_view symbol) {
        if (const Variant* row = rowNamed(param.variants, symbol)) return row->value;
        throw JsonMisfit("expected one of: " + legal(param, TextForm::stored), std::string(symbol));
    }
};

} // namespace

constinit const ParamKind choiceKind = row<Choice>();

} // namespace panelkit::kinds
