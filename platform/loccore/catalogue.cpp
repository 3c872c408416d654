// SPDX-License-Identifier: MIT
#include <platform/loccore/catalogue.h>

#include <platform/loccore/mo_file.h>
#include <platform/loccore/phrase.h>
#include <platform/loccore/placeholders.h>
#include <platform/text/utf8_character.h>

#include <algorithm>

namespace Loc {

namespace {

using std::string_view;

// Whether it is UTF-8 whose only control characters are line feeds and tabs.
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

// A text of the file for use in a message: characters that could affect a terminal are replaced.
std::string quoted(string_view text) {
    constexpr std::size_t longest = 60;
    std::string shown(text.substr(0, longest));
    if (!isPlainText(shown)) {
        std::replace_if(
            shown.begin(), shown.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    }
    return '"' + shown + (text.size() > longest ? "...\"" : "\"");
}

// The value of the line "Name: value" of the header; empty when there is no such line.
string_view headerField(string_view header, string_view name) {
    while (!header.empty()) {
        const string_view line = header.substr(0, header.find('\n'));
        header.remove_prefix(std::min(header.size(), line.size() + 1));
        if (line.starts_with(name) && line.substr(name.size()).starts_with(": ")) return line.substr(name.size() + 2);
    }
    return {};
}

bool isHeader(const MoText& text) { return !text.context && text.original.empty(); }

// All texts but the header, whose fields are returned in `header`.
Status readTexts(string_view bytes, std::vector<MoText>& texts, string_view& header, std::string& error) {
    if (!readMo(bytes, texts, error)) return Damaged;
    const auto place = std::find_if(texts.begin(), texts.end(), isHeader);
    if (place == texts.end()) {
        error = "it has no header";
        return Damaged;
    }
    header = place->translation;
    std::erase_if(texts, isHeader);
    if (headerField(header, "Content-Type").find("charset=UTF-8") != string_view::npos) return Loaded;
    error = "its character set is not UTF-8";
    return Damaged;
}

Status checkEdition(string_view header, const TableEdition& table, std::string& error) {
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

// Why a translation can't replace its original; empty when it can. `samePlaces` compares the placeholders.
string_view fault(string_view original, string_view translation, bool (*samePlaces)(string_view, string_view)) {
    if (original.empty()) return "fills the empty text";
    if (!isPlainText(translation)) return "is not plain text in UTF-8";
    if (!samePlaces(original, translation)) return "has other % placeholders";
    if (!sameEdges(original, translation)) return "begins or ends with other blanks or line feeds";
    return {};
}

Status faulty(string_view name, string_view why, std::string& error) {
    error = "the translation of " + quoted(name) + ' ' + std::string(why);
    return BadTexts;
}

Status translatedTwice(string_view name, std::string& error) {
    error = "it translates " + quoted(name) + " twice";
    return Damaged;
}

// ---- the table of a module

class Check {
public:
    Check(const TableEdition& table, Translations& found) : table_(table), found_(found) {
        for (std::size_t i = 0; i < table.names.size(); ++i) byName_.emplace_back(table.names[i], i);
        std::sort(byName_.begin(), byName_.end());
    }

    Status take(const MoText& text, std::string& error) {
        if (text.translation.empty()) return Loaded; // in gettext this means: not translated
        if (const string_view why = fault(text.original, text.translation, samePlaceholders); !why.empty()) {
            return faulty(text.context.value_or(text.original), why, error);
        }
        if (!text.context) {
            found_.registered.emplace_back(text.original, text.translation.data());
            return Loaded;
        }
        const auto place = std::lower_bound(byName_.begin(), byName_.end(), std::pair{*text.context, std::size_t{0}});
        if (place == byName_.end() || place->first != *text.context ||
            table_.defaults[place->second] != text.original) {
            error = "it translates " + quoted(text.original) + " as " + quoted(*text.context) +
                    ", which is not an entry of this table";
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
            if (position < next) return translatedTwice(table_.names[position], error);
            next = std::max(next, position + 1);
        }
        const auto wanted = static_cast<std::size_t>(std::count_if(table_.defaults.begin(), table_.defaults.end(),
                                                                   [](string_view text) { return !text.empty(); }));
        if (!table_.complete || found_.entries.size() == wanted) return Loaded;
        error = "it leaves " + std::to_string(wanted - found_.entries.size()) + " entries untranslated";
        return BadTexts;
    }

private:
    const TableEdition& table_;
    Translations& found_;
    std::vector<std::pair<string_view, std::size_t>> byName_;
};

// ---- wordings in the source

bool sameArguments(string_view original, string_view translation) {
    const auto kinds = argumentKinds(original);
    return kinds && kinds == argumentKinds(translation);
}

// The texts between the NULs.
std::vector<string_view> splitForms(string_view texts) {
    std::vector<string_view> forms;
    for (std::size_t end = texts.find('\0'); end != string_view::npos; end = texts.find('\0')) {
        forms.push_back(texts.substr(0, end));
        texts.remove_prefix(end + 1);
    }
    forms.push_back(texts);
    return forms;
}

// Adds a wording and its translation. A wording with a plural is followed by it, and has as many translations as the
// rule has forms.
Status takeWording(const MoText& text, Wordings& found, std::string& error) {
    if (text.context) return Loaded; // contexts are not used here
    const std::vector<string_view> originals = splitForms(text.original);
    const std::vector<string_view> forms = splitForms(text.translation);
    if (std::count(forms.begin(), forms.end(), string_view()) > 0) return Loaded; // not translated, or only in part
    const std::size_t wanted = originals.size() == 1 ? 1 : found.rule.forms();
    if (originals.size() > 2 || forms.size() != wanted)
        return faulty(originals[0], "has a wrong number of forms", error);
    for (const string_view original : originals) {
        for (const string_view form : forms) {
            if (const string_view why = fault(original, form, sameArguments); !why.empty()) {
                return faulty(originals[0], why, error);
            }
        }
    }
    return found.forms.emplace(originals[0], forms).second ? Loaded : translatedTwice(originals[0], error);
}

} // namespace

Status checkCatalogue(string_view bytes, const TableEdition& table, Translations& found, std::string& error) {
    found = {};
    std::vector<MoText> texts;
    string_view header;
    if (const Status status = readTexts(bytes, texts, header, error)) return status;
    if (const Status status = checkEdition(header, table, error)) return status;
    Check check(table, found);
    for (const MoText& text : texts) {
        if (const Status status = check.take(text, error)) return status;
    }
    return check.whole(error);
}

Status checkWordings(string_view bytes, Wordings& found, std::string& error) {
    found = {};
    std::vector<MoText> texts;
    string_view header;
    if (const Status status = readTexts(bytes, texts, header, error)) return status;
    if (const string_view field = headerField(header, "Plural-Forms"); !field.empty()) {
        const std::optional<PluralRule> rule = PluralRule::read(field);
        if (!rule) {
            error = "its rule for plurals can't be used: " + quoted(field);
            return Damaged;
        }
        found.rule = *rule;
    }
    for (const MoText& text : texts) {
        if (const Status status = takeWording(text, found, error)) return status;
    }
    return Loaded;
}

} // namespace Loc
