// SPDX-License-Identifier: MIT
#include <service/policy/policy_text.h>

#include <service/policy/policy_keys.h>

#include <platform/system/utf8_character.h>
#include <vocabulary/policy.h>

#include <algorithm>
#include <map>

namespace panelkitd {

namespace {

constexpr std::size_t longestLine = 4096;
constexpr std::size_t mostSections = 1000;
constexpr std::size_t longestName = 64;
constexpr unsigned mostProblems = 20; // to report; what begins wrong often goes on wrong

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t";
    const std::size_t first = text.find_first_not_of(blanks);
    return first == text.npos ? std::string_view() : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

bool hasControlCharacter(std::string_view text) {
    return std::any_of(text.begin(), text.end(), [](unsigned char c) { return (c < 0x20 && c != '\t') || c == 0x7F; });
}

bool isNameCharacter(char c) {
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    return letter || (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '.';
}

class Reader {
public:
    PolicyText read(std::string_view content) {
        if (content.substr(0, 3) == "\xEF\xBB\xBF") content.remove_prefix(3); // editors put it there
        while (!content.empty()) {
            const std::size_t end = std::min(content.find('\n'), content.size());
            ++line_;
            readLine(content.substr(0, end));
            content.remove_prefix(std::min(end + 1, content.size()));
        }
        endPart();
        if (text_.sections.empty()) remark(line_, "there are no sections, so nothing is protected");
        if (count_ > mostProblems) problems_ += "\nand " + std::to_string(count_ - mostProblems) + " more";
        if (count_ > 0) throw PolicyTextError(problems_);
        return std::move(text_);
    }

private:
    static std::string at(unsigned line, const std::string& text) {
        return "line " + std::to_string(line) + ": " + text;
    }
    void problem(unsigned line, const std::string& text) {
        if (++count_ <= mostProblems) problems_ += (problems_.empty() ? "" : "\n") + at(line, text);
    }
    void remark(unsigned line, const std::string& text) {
        text_.remarks += (text_.remarks.empty() ? "" : "\n") + at(line, text);
    }

    void readLine(std::string_view line) {
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        if (line.size() > longestLine) return problem(line_, "it is longer than 4096 bytes");
        if (!platform::isValidUtf8(line)) return problem(line_, "it is not UTF-8");
        if (hasControlCharacter(line)) return problem(line_, "it has a control character");
        line = trimmed(line);
        if (line.empty() || line.front() == '#' || line.front() == ';') return;
        if (line.front() == '[') return beginSection(line);
        assign(line);
    }

    void beginSection(std::string_view line) {
        endPart();
        PolicySection section;
        section.line = line_;
        section.name = line.back() == ']' ? trimmed(line.substr(1, line.size() - 2)) : std::string_view();
        checkName(section.name);
        if (text_.sections.size() == mostSections) problem(line_, "there are more than 1000 sections");
        if (text_.sections.size() <= mostSections) text_.sections.push_back(std::move(section));
    }

    void checkName(const std::string& name) {
        if (name.empty() || name.size() > longestName || !std::all_of(name.begin(), name.end(), isNameCharacter)) {
            return problem(line_, "a section begins with its name in square brackets: up to 64 letters, digits, '-', "
                                  "'_' and '.'");
        }
        const auto [found, isNew] = names_.emplace(name, line_);
        if (!isNew) problem(line_, "section [" + name + "] is there already, in line " + std::to_string(found->second));
    }

    void assign(std::string_view line) {
        const std::size_t mark = line.find('=');
        if (mark == line.npos) return problem(line_, "this is neither \"key = value\" nor \"[section]\" nor a comment");
        const std::string key(trimmed(line.substr(0, mark)));
        const std::string value(trimmed(line.substr(mark + 1)));
        const auto [found, isNew] = given_.emplace(key, line_);
        if (!isNew) return problem(line_, quoted(key) + " is given already, in line " + std::to_string(found->second));
        const std::string wrong = text_.sections.empty() ? takePolicyKey(text_, key, value)
                                                         : takePolicyKey(text_.sections.back(), key, value);
        if (!wrong.empty()) problem(line_, wrong);
    }

    // The head or a section is complete.
    void endPart() {
        if (text_.sections.empty()) {
            if (!given_.contains("title")) problem(line_, "the head before it has no title");
            if (!given_.contains("version")) problem(line_, "the head before it has no version");
        } else {
            const PolicySection& section = text_.sections.back();
            for (const std::string& wrong : contradictionsOf(section)) {
                problem(section.line, "section [" + section.name + "] " + wrong);
            }
            remarkUnreachable(section);
        }
        given_.clear();
    }

    // The first section that fits decides, so a second one for the very same traffic never does.
    void remarkUnreachable(const PolicySection& section) {
        const std::string traffic = section.network + " " + section.protocol + " " + section.port;
        const auto [found, isNew] = traffic_.emplace(traffic, section.name);
        if (!isNew) {
            remark(section.line, "section [" + section.name + "] never decides: section [" + found->second +
                                     "] before it is for the same traffic");
        }
    }

    PolicyText text_;
    unsigned line_ = 0;
    std::string problems_;
    unsigned count_ = 0;
    std::map<std::string, unsigned> given_; // keys of this part, and their lines
    std::map<std::string, unsigned> names_; // sections, and their lines
    std::map<std::string, std::string> traffic_;
};

} // namespace

PolicyText readPolicyText(std::string_view content) {
    if (content.size() > vocabulary::largestPolicyFile) throw PolicyTextError("it is larger than 1 MiB");
    return Reader().read(content);
}

} // namespace panelkitd
