// SPDX-License-Identifier: MIT
#include <panelctl/config/json_file.h>

#include <panelctl/exit_codes.h>
#include <panelctl/say.h>
#include <panelctl/terminal.h>

#include <platform/system/wipe.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <vector>

namespace panelctl {

using nlohmann::ordered_json;

namespace {

constexpr int standardInput = 0;
constexpr std::size_t largestFile = std::size_t{4} << 20;

// Appends without leaving copies of secrets behind.
void append(std::string& text, char c) {
    if (text.size() == text.capacity()) {
        std::string larger;
        larger.reserve(2 * text.size() + 65536);
        larger = text;
        platform::wipe(text);
        text.swap(larger);
    }
    text += c;
}

std::string readAll(int descriptor, const std::string& name) {
    std::string text;
    for (int byte = readByte(descriptor); byte >= 0; byte = readByte(descriptor)) {
        if (text.size() == largestFile) {
            platform::wipe(text);
            throw CommandError(Exit::tooLarge, say("%s is larger than %d bytes", name, largestFile));
        }
        append(text, static_cast<char>(byte));
    }
    return text;
}

// "3:14", counted from 1.
std::string lineAndColumn(const std::string& text, std::size_t byte) {
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(byte == 0 ? 0 : byte - 1, text.size()));
    const auto line = std::count(text.begin(), end, '\n') + 1;
    const auto lineStart = std::find(std::reverse_iterator(end), text.rend(), '\n').base();
    return std::to_string(line) + ':' + std::to_string(end - lineStart + 1);
}

// Walks the text for the parser, and counts the lines that it has taken.
class CountingIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CountingIterator(const char* at, std::size_t& line) : at_(at), line_(&line) {}
    reference operator*() const { return *at_; }
    CountingIterator& operator++() {
        if (*at_++ == '\n') ++*line_;
        return *this;
    }
    bool operator==(const CountingIterator& other) const { return at_ == other.at_; }

private:
    const char* at_;
    std::size_t* line_;
};

struct DoubleMember {
    std::string path;
};

// Follows the parser: notes the line of every member, and refuses the second of one name.
class Members {
public:
    using Event = ordered_json::parse_event_t;
    Members(const std::size_t& line, std::map<std::string, std::size_t>& lines) : line_(line), lines_(lines) {}

    bool operator()(Event event, const ordered_json& parsed) {
        if (event == Event::object_start) open_.push_back({path_, {}});
        if (event == Event::key) enter(parsed.get<std::string>());
        if (event == Event::object_end) {
            path_ = open_.back().path;
            open_.pop_back();
        }
        return true;
    }

private:
    struct Object {
        std::string path;
        std::set<std::string> names;
    };

    void enter(const std::string& name) {
        Object& object = open_.back();
        path_ = object.path.empty() ? name : object.path + '.' + name;
        lines_.emplace(path_, line_);
        if (!object.names.insert(name).second) throw DoubleMember{path_};
    }

    const std::size_t& line_;
    std::map<std::string, std::size_t>& lines_;
    std::string path_; // of the member that comes
    std::vector<Object> open_;
};

void wipeTexts(ordered_json& value) {
    if (auto* const text = value.get_ptr<std::string*>()) platform::wipe(*text);
    if (value.is_structured()) {
        for (ordered_json& inner : value) wipeTexts(inner);
    }
}

std::string readWholeFile(const std::string& path, const std::string& name) {
    if (path == "-") return readAll(standardInput, name);
    const OpenedFile file(path);
    return readAll(file.descriptor(), name);
}

} // namespace

JsonFile::JsonFile(const std::string& path) : name_(path == "-" ? say("standard input") : path) {
    std::string text = readWholeFile(path, name_);
    const platform::WipeOnExit wiped(text);
    std::size_t line = 1;
    Members members(line, lines_);
    try {
        const char* const start = text.data();
        content_ = ordered_json::parse(
            CountingIterator(start, line), CountingIterator(start + text.size(), line),
            [&](int, Members::Event event, const ordered_json& parsed) { return members(event, parsed); });
    } catch (const ordered_json::parse_error& error) {
        // The parser's own words quote the file, which may hold a secret there.
        throw CommandError(Exit::badInput, say("%s: not valid JSON", name_ + ':' + lineAndColumn(text, error.byte)));
    } catch (const DoubleMember& twice) {
        throw CommandError(Exit::badInput,
                           name_ + ':' + std::to_string(line) + ": " + say("duplicate key \"%s\"", twice.path));
    }
}

JsonFile::~JsonFile() { wipeTexts(content_); }

std::string JsonFile::at(const std::string& memberPath) const {
    const auto line = lines_.find(memberPath);
    return name_ + (line == lines_.end() ? "" : ':' + std::to_string(line->second)) + ": ";
}

} // namespace panelctl
