// SPDX-License-Identifier: MIT
#include <platform/json/json.h>

#include <platform/system/wipe.h>
#include <platform/text/ascii.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <set>

namespace platform::json {

namespace {

using Parser = nlohmann::json;

// ---- the input of the parser

// The largest number of characters from the beginning of one string to the beginning of the next, or to the end. A
// quote after a backslash may also end a string; not counting it only makes the result larger.
std::size_t longestStretch(std::string_view text) {
    std::array<std::size_t, 2> quotes{}; // the last two
    std::size_t longest = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '"' || (i > 0 && text[i - 1] == '\\')) continue;
        longest = std::max(longest, i - quotes[0]);
        quotes = {quotes[1], i};
    }
    return std::max(longest, text.size() - quotes[0]) + 1;
}

// The text as the parser reads it, and the position in it.
//
// The parser collects the characters of each string in buffers of its own, and returns them to the heap without wiping
// them. So it reads as many blanks before the text as its longest string has characters, after which the buffers are
// large enough not to move, and a string of as many dots after the text, which overwrites their content. (If a text is
// not JSON, the string at which the parser stopped may stay in them.)
class Source {
public:
    explicit Source(std::string_view text)
        : text_(text), padding_(longestStretch(text)), end_(padding_ + text.size() + 1 + padding_ + 2) {}

    class Iterator;
    Iterator begin();
    Iterator end();

    std::size_t padding() const { return padding_; }
    // The line of the last character that was read.
    int line() const { return line_; }
    int column() const { return column_; }
    // Whether the parser has read more than the text and the one character with which it finds the end of a number.
    bool isPastTheText() const { return next_ > padding_ + text_.size() + 1; }
    bool isAtItsEnd() const { return next_ == end_; }

private:
    const char& at(std::size_t place) const {
        static constexpr char blank = ' ', quote = '"', dot = '.';
        const std::size_t textEnd = padding_ + text_.size();
        if (place < padding_ || place == textEnd) return blank;
        if (place < textEnd) return text_[place - padding_];
        return place == textEnd + 1 || place == end_ - 1 ? quote : dot;
    }
    void advance() {
        const std::size_t place = next_++;
        if (place < padding_ || place >= padding_ + text_.size()) return;
        if (lineEnded_) ++line_;
        column_ = lineEnded_ ? 1 : column_ + 1;
        lineEnded_ = text_[place - padding_] == '\n';
    }

    std::string_view text_;
    std::size_t padding_, end_;
    std::size_t next_ = 0;
    int line_ = 1, column_ = 0;
    bool lineEnded_ = false;
};

// The parser copies its iterators; the position is kept in the source.
class Source::Iterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    Iterator(Source& source, bool isEnd) : source_(&source), isEnd_(isEnd) {}
    reference operator*() const { return source_->at(source_->next_); }
    Iterator& operator++() {
        source_->advance();
        return *this;
    }
    bool operator==(const Iterator& other) const { return isEnd_ == other.isEnd_ || source_->next_ == source_->end_; }

private:
    Source* source_;
    bool isEnd_;
};

Source::Iterator Source::begin() { return {*this, false}; }
Source::Iterator Source::end() { return {*this, true}; }

// ---- the output of the parser

// Receives the tokens in order and builds the tree.
class Builder : public nlohmann::json_sax<Parser> {
public:
    Builder(const Source& source, std::string& texts, Value& root) : source_(source), texts_(texts), root_(root) {}

    bool key(string_t& name) override {
        Level& level = open_.back();
        const std::string_view kept = keep(name);
        level.object->members.push_back({kept, source_.line(), {}});
        if (!level.names.insert(kept).second) fail(Error::Why::nameTwice);
        return true;
    }
    bool start_object(std::size_t) override { return enter(Kind::object); }
    bool start_array(std::size_t) override { return enter(Kind::list); }
    bool end_object() override { return leave(); }
    bool end_array() override { return leave(); }

    bool null() override { return void(next(Kind::null)), true; }
    bool boolean(bool flag) override { return next(Kind::flag).flag = flag, true; }
    bool number_integer(number_integer_t number) override {
        Value& value = next(Kind::integer);
        value.isNegative = number < 0;
        value.bits = static_cast<std::uint64_t>(number);
        return true;
    }
    bool number_unsigned(number_unsigned_t number) override { return next(Kind::integer).bits = number, true; }
    bool number_float(number_float_t number, const string_t&) override { return next(Kind::real).real = number, true; }
    bool string(string_t& text) override { return next(Kind::text).text = keep(text), true; }
    bool binary(binary_t&) override { return false; } // not in JSON texts

    // The parser's message may quote a secret, so it is not used. After a valid text the parser stops at the dots.
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override {
        if (!hasRoot_ || !open_.empty() || !source_.isAtItsEnd()) fail(Error::Why::malformed);
        return false;
    }

private:
    // An object or list that was entered.
    struct Level {
        Value* object;
        std::set<std::string_view> names;
    };

    Value& next(Kind kind) {
        Value& value = place();
        value.kind = kind;
        value.line = source_.line();
        hasRoot_ = true;
        return value;
    }
    Value& place() {
        if (open_.empty()) return root_;
        Value& parent = *open_.back().object;
        return parent.kind == Kind::list ? parent.items.emplace_back() : parent.members.back().value;
    }
    bool enter(Kind kind) {
        Value& value = next(kind);
        if (open_.size() == deepest) fail(Error::Why::tooDeep);
        open_.push_back({&value, {}});
        return true;
    }
    bool leave() {
        open_.pop_back();
        return true;
    }

    // Moves what the parser has read to memory that will be wiped. `texts_` has room: a string with its escapes
    // resolved is not longer than the written one.
    std::string_view keep(string_t& text) {
        if (source_.isPastTheText()) fail(Error::Why::malformed);
        const std::size_t start = texts_.size();
        texts_ += text;
        wipe(text);
        text.reserve(source_.padding());
        return std::string_view(texts_).substr(start);
    }

    std::string path() const {
        std::string path;
        for (const Level& level : open_) {
            const Value& value = *level.object;
            if (value.kind == Kind::list && !value.items.empty()) {
                path += '[' + std::to_string(value.items.size() - 1) + ']';
            } else if (!value.members.empty()) {
                path += (path.empty() ? "" : ".") + std::string(value.members.back().name);
            }
        }
        return path;
    }
    [[noreturn]] void fail(Error::Why why) const {
        throw Error(why, source_.line(), std::max(source_.column(), 1), path());
    }

    const Source& source_;
    std::string& texts_;
    Value& root_;
    bool hasRoot_ = false;
    std::vector<Level> open_;
};

std::string words(Error::Why why, int line, const std::string& path) {
    const std::string place = "line " + std::to_string(line) + ": ";
    switch (why) {
    case Error::Why::nameTwice: return place + "duplicate key " + path;
    case Error::Why::tooDeep: return place + "nested too deeply" + (path.empty() ? "" : " in " + path);
    case Error::Why::malformed: break;
    }
    return place + "not valid JSON" + (path.empty() ? "" : " at or after " + path);
}

std::string_view withoutMark(std::string_view text) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    return text.starts_with(byteOrderMark) ? text.substr(byteOrderMark.size()) : text;
}

} // namespace

Error::Error(Why reason, int lineNumber, int columnNumber, const std::string& memberPath)
    : std::runtime_error(words(reason, lineNumber, memberPath)),
      why(reason),
      line(lineNumber),
      column(columnNumber),
      path(memberPath) {}

Document::Document(std::string_view text) {
    texts_.reserve(text.size()); // must not move: values view it, and growing would leave copies of secrets
    Source source(withoutMark(text));
    Builder builder(source, texts_, root_);
    try {
        Parser::sax_parse(source.begin(), source.end(), &builder);
    } catch (...) {
        wipe(texts_);
        throw;
    }
}

Document::~Document() { wipe(texts_); }

const Member* Value::find(std::string_view name) const {
    const auto found = std::find_if(members.begin(), members.end(), [&](const auto& one) { return one.name == name; });
    return found == members.end() ? nullptr : &*found;
}

// ---- printing

void appendQuoted(std::string_view text, std::string& to) {
    to += '"';
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            to += {'\\', c};
        } else if (byte < 0x20 || byte == 0x7F) {
            to += {'\\', 'u', '0', '0', hexDigit(byte >> 4U), hexDigit(byte)};
        } else {
            to += c;
        }
    }
    to += '"';
}

namespace {

void append(const Value& value, std::string& to);

void appendNumber(const Value& value, std::string& to) {
    std::array<char, 32> digits{};
    char* const end = digits.data() + digits.size();
    const auto [stop, error] = value.kind == Kind::real ? std::to_chars(digits.data(), end, value.real)
                               : value.isNegative
                                   ? std::to_chars(digits.data(), end, static_cast<std::int64_t>(value.bits))
                                   : std::to_chars(digits.data(), end, value.bits);
    to.append(digits.data(), stop);
}

void appendMembers(const Value& value, std::string& to) {
    const char* separator = "{";
    for (const Member& member : value.members) {
        to += separator;
        appendQuoted(member.name, to);
        to += ':';
        append(member.value, to);
        separator = ",";
    }
    to += value.members.empty() ? "{}" : "}";
}

void appendItems(const Value& value, std::string& to) {
    const char* separator = "[";
    for (const Value& item : value.items) {
        to += separator;
        append(item, to);
        separator = ",";
    }
    to += value.items.empty() ? "[]" : "]";
}

void append(const Value& value, std::string& to) {
    switch (value.kind) {
    case Kind::null: to += "null"; break;
    case Kind::flag: to += value.flag ? "true" : "false"; break;
    case Kind::integer:
    case Kind::real: appendNumber(value, to); break;
    case Kind::text: appendQuoted(value.text, to); break;
    case Kind::list: appendItems(value, to); break;
    case Kind::object: appendMembers(value, to); break;
    }
}

} // namespace

std::string print(const Value& value) {
    std::string text;
    append(value, text);
    return text;
}

} // namespace platform::json
