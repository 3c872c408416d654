// SPDX-License-Identifier: MIT
#include <service/config/json_lines.h>

#include <nlohmann/json.hpp>

#include <iterator>
#include <vector>

namespace panelkitd {

using nlohmann::json;

namespace {

constexpr std::size_t deepest = 16;

// Reads the text for the parser and counts the lines that it has taken. The parser keeps a copy of its own, so the
// count lives outside.
class CountingIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CountingIterator(const char* place, int& line) : place_(place), line_(&line) {}

    reference operator*() const { return *place_; }
    CountingIterator& operator++() {
        if (*place_++ == '\n') ++*line_;
        return *this;
    }
    CountingIterator operator++(int) {
        CountingIterator before = *this;
        ++*this;
        return before;
    }
    bool operator==(const CountingIterator& other) const { return place_ == other.place_; }

private:
    const char* place_;
    int* line_;
};

[[noreturn]] void fail(int line, const std::string& what) {
    throw JsonError("line " + std::to_string(line) + ": " + what);
}

// Hears of each token in turn; of keys just behind their closing quote, on the line where they stand.
class LineFinder : public nlohmann::json_sax<json> {
public:
    explicit LineFinder(const int& line) : line_(line) {}

    std::map<std::string, int> lines;

    bool key(string_t& name) override {
        std::string& path = path_.back().path;
        path = path.substr(0, path_.back().parent);
        path += (path.empty() ? "" : ".") + name;
        if (!lines.emplace(path, line_).second) fail(line_, path + " stands twice");
        return true;
    }
    bool start_object(std::size_t) override { return enter(false); }
    bool start_array(std::size_t) override { return enter(true); }
    bool end_object() override { return leave(); }
    bool end_array() override { return leave(); }

    bool parse_error(std::size_t, const std::string& token, const nlohmann::detail::exception& error) override;

    bool null() override { return value(); }
    bool boolean(bool) override { return value(); }
    bool number_integer(number_integer_t) override { return value(); }
    bool number_unsigned(number_unsigned_t) override { return value(); }
    bool number_float(number_float_t, const string_t&) override { return value(); }
    bool string(string_t&) override { return value(); }
    bool binary(binary_t&) override { return value(); }

private:
    // An object or array that was entered: the path of what is read in it now.
    struct Level {
        std::string path;
        std::size_t parent; // the length of its own path
        int element;        // of an array; -1 in an object
    };

    // Counts what begins, when it is an element of an array.
    bool value() {
        if (path_.empty() || path_.back().element < 0) return true;
        Level& array = path_.back();
        array.path = array.path.substr(0, array.parent) + '[' + std::to_string(array.element++) + ']';
        return true;
    }
    bool enter(bool array) {
        value();
        if (path_.size() == deepest) fail(line_, "nested too deeply");
        const std::string path = path_.empty() ? "" : path_.back().path;
        path_.push_back({path, path.size(), array ? 0 : -1});
        return true;
    }
    bool leave() {
        path_.pop_back();
        return true;
    }

    const int& line_;
    std::vector<Level> path_;
};

// The parser's own words begin with a number of its exception and may quote the token, which may be a secret.
bool LineFinder::parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) {
    const std::string place = path_.empty() || path_.back().path.empty() ? "" : " at or behind " + path_.back().path;
    fail(line_, "no well-formed JSON" + place);
}

} // namespace

std::map<std::string, int> findLines(std::string_view text) {
    int line = 1;
    LineFinder finder(line);
    json::sax_parse(CountingIterator(text.data(), line), CountingIterator(text.data() + text.size(), line), &finder);
    return std::move(finder.lines);
}

} // namespace panelkitd
