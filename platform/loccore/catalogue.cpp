// SPDX-License-Identifier: MIT
#include <platform/loccore/catalogue.h>

#include <platform/loccore/mo_file.h>
#include <platform/loccore/placeholders.h>
#include <platform/loccore/seal.h>
#include <platform/system/utf8_character.h>

#include <algorithm>

namespace Loc {

namespace {

using std::string_view;

// UTF-8 in which line feeds and tabs are the only control characters.
bool isPlainText(string_view text) {
    char before = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        const bool isControl = (byte < 0x20 && c != '\n' && c != '\t') || byte == 0x7F;
        if (isControl || (before == '\xC2' && byte < 0xA0)) return false; // U+0080 to U+009F are controls too
        before = c;
    }
    return platform::isValidUtf8(text);
}

// A text of the file for a message: whatever it holds, it does no harm to a terminal.
std::string quoted(string_view text) {
    constexpr std::size_t longest = 60;
    std::string shown(text.substr(0, longest));
    if (!isPlainText(shown)) {
        std::replace_if(
            shown.begin(), shown.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    }
    return '"' + shown + (text.size() > longest ? "...\"" : "\"");
}

// The value of a line "Name: value" of the header; empty when there is no such line.
string_view headerField(string_view header, string_view name) {
    while (!header.empty()) {
        const string_view line = header.substr(0, header.find('\n'));
        header.remove_prefix(std::min(header.size(), line.size() + 1));
        if (line.starts_with(name) && line.substr(name.size()).starts_with(": ")) return line.substr(name.size() + 2);
    }
    return {};
}

bool isHeader(const MoText& text) { return !text.context && text.original.empty(); }

Status checkHeader(string_view header, const TableEdition& table, Seal seal, std::string& error) {
    if (seal == Seal::none && !headerField(header, "X-Seal").empty()) {
        error = "truncated: it has no seal, though it announces one";
        return Damaged;
    }
    if (headerField(header, "Content-Type").find("charset=UTF-8") == string_view::npos) {
        error = "its character set is not UTF-8";
        return Damaged;
    }
    if (const string_view module = headerField(header, "X-Module"); module != table.module) {
        error = "it is for the module " + quoted(module) + ", not for " + quoted(table.module);
        return OtherModule;
    }
    const std::string stamp = std::to_string(table.stamp);
    if (const string_view made = headerField(header, "X-Table-Stamp"); made != stamp) {
        error = "it is for the table with the stamp " + quoted(made) + ", this one has " + quoted(stamp);
        return OtherEdition;
    }
    const std::string count = std::to_string(table.defaults.size());
    if (const string_view made = headerField(header, "X-Table-Texts"); made != count) {
        error = "it is for a table of " + quoted(made) + " texts, this one has " + quoted(count);
        return OtherEdition;
    }
    return Loaded;
}

// Why a translation can't stand for its original; empty when it can.
string_view fault(const MoText& text) {
    if (text.original.empty()) return "fills the empty text";
    if (!isPlainText(text.translation)) return "is not plain text in UTF-8";
    if (!samePlaceholders(text.original, text.translation)) return "has other % placeholders";
    if (!sameEdges(text.original, text.translation)) return "begins or ends with other blanks or line feeds";
    return {};
}

class Check {
public:
    Check(const TableEdition& table, Translations& found) : table_(table), found_(found) {
        for (std::size_t i = 0; i < table.names.size(); ++i) byName_.emplace_back(table.names[i], i);
        std::sort(byName_.begin(), byName_.end());
    }

    Status take(const MoText& text, std::string& error) {
        if (text.translation.empty()) return Loaded; // gettext's way to say: not translated
        if (const string_view why = fault(text); !why.empty()) {
            error = "the translation of " + quoted(text.context.value_or(text.original)) + ' ' + std::string(why);
            return BadTexts;
        }
        if (!text.context) {
            found_.registered.emplace_back(text.original, text.translation.data());
            return Loaded;
        }
        const auto place = std::lower_bound(byName_.begin(), byName_.end(), std::pair{*text.context, std::size_t{0}});
        if (place == byName_.end() || place->first != *text.context ||
            table_.defaults[place->second] != text.original) {
            error = "it translates " + quoted(text.original) + " as " + quoted(*text.context) +
                    ", which is no entry of this table";
            return OtherEdition;
        }
        found_.entries.emplace_back(place->second, text.translation.data());
        return Loaded;
    }

    // All entries are there, each once.
    Status whole(std::string& error) {
        std::sort(found_.entries.begin(), found_.entries.end());
        std::size_t next = 0;
        for (const auto& [position, text] : found_.entries) {
            if (position < next) return twice(table_.names[position], error);
            next = std::max(next, position + 1);
        }
        const auto wanted = static_cast<std::size_t>(std::count_if(table_.defaults.begin(), table_.defaults.end(),
                                                                   [](string_view text) { return !text.empty(); }));
        if (!table_.complete || found_.entries.size() == wanted) return Loaded;
        error = "it leaves " + std::to_string(wanted - found_.entries.size()) + " entries untranslated";
        return BadTexts;
    }

private:
    static Status twice(string_view name, std::string& error) {
        error = "it translates " + quoted(name) + " twice";
        return Damaged;
    }

    const TableEdition& table_;
    Translations& found_;
    std::vector<std::pair<string_view, std::size_t>> byName_;
};

} // namespace

Status checkCatalogue(string_view bytes, const TableEdition& table, Translations& found, std::string& error) {
    found = {};
    const Seal seal = takeSeal(bytes);
    if (seal == Seal::wrong) {
        error = "damaged: its seal does not fit its bytes";
        return Damaged;
    }
    std::vector<MoText> texts;
    if (!readMo(bytes, texts, error)) return Damaged;
    const auto header = std::find_if(texts.begin(), texts.end(), isHeader);
    if (header == texts.end()) {
        error = "it has no header";
        return Damaged;
    }
    if (const Status status = checkHeader(header->translation, table, seal, error)) return status;
    Check check(table, found);
    for (const MoText& text : texts) {
        if (isHeader(text)) continue;
        if (const Status status = check.take(text, error)) return status;
    }
    return check.whole(error);
}

} // namespace Loc
