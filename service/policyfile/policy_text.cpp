// SPDX-License-Identifier: MIT
#include <service/policyfile/policy_text.h>

#include <service/policyfile/policy_keys.h>

#include <platform/text/utf8_character.h>
#include <vocabulary/policy.h>

#include <algorithm>
#include <map>

namespace panelkitd {

using vocabulary::Refused;

namespace {

constexpr std::size_t longestLine = 4096;
constexpr std::size_t mostSections = 1000;
constexpr std::size_t longestName = 64;
constexpr unsigned mostProblems = 20; // to report; more would rarely help
constexpr Refused policyLine = Refused::policyLine;

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
        if (content.substr(0, 3) == "\xEF\xBB\xBF") content.remove_prefix(3); // some editors add a byte order mark
        while (!content.empty()) {
            const std::size_t end = std::min(content.find('\n'), content.size());
            ++line_;
            readLine(content.substr(0, end));
            content.remove_prefix(std::min(end + 1, content.size()));
        }
        endPart();
        if (text_.sections.empty()) {
            note(remark(policyLine, "line %d: there are no sections, so nothing is protected", line_));
        }
        if (count_ > mostProblems) problems_.push_back(remark(Refused::none, "and %d more", count_ - mostProblems));
        if (count_ > 0) throw PolicyTextError(std::move(problems_));
        return std::move(text_);
    }

private:
    void problem(bridge::Remark what) {
        if (++count_ <= mostProblems) problems_.push_back(std::move(what));
    }
    void note(bridge::Remark what) { text_.remarks.push_back(std::move(what)); }

    void readLine(std::string_view line) {
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        if (line.size() > longestLine) {
            return problem(remark(policyLine, "line %d: it is longer than %d bytes", line_, longestLine));
        }
        if (!platform::isValidUtf8(line)) return problem(remark(policyLine, "line %d: it is not UTF-8", line_));
        if (hasControlCharacter(line)) {
            return problem(remark(policyLine, "line %d: it has a control character", line_));
        }
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
        if (text_.sections.size() == mostSections) {
            problem(remark(policyLine, "line %d: there are more than %d sections", line_, mostSections));
        }
        if (text_.sections.size() <= mostSections) text_.sections.push_back(std::move(section));
    }

    void checkName(const std::string& name) {
        if (name.empty() || name.size() > longestName || !std::all_of(name.begin(), name.end(), isNameCharacter)) {
            return problem(remark(policyLine,
                                  "line %d: a section begins with its name in square brackets: up to %d letters, "
                                  "digits, '-', '_' and '.'",
                                  line_, longestName));
        }
        const auto [found, isNew] = names_.emplace(name, line_);
        if (isNew) return;
        problem(remark(policyLine, "line %d: section [%s] is there already, in line %d", line_, name, found->second));
    }

    void assign(std::string_view line) {
        const std::size_t mark = line.find('=');
        if (mark == line.npos) {
            return problem(
                remark(policyLine, "line %d: this is neither \"key = value\" nor \"[section]\" nor a comment", line_));
        }
        const std::string key(trimmed(line.substr(0, mark)));
        const std::string value(trimmed(line.substr(mark + 1)));
        const auto [found, isNew] = given_.emplace(key, line_);
        if (!isNew) {
            return problem(remark(policyLine, "line %d: \"%s\" is given already, in line %d", line_, shortened(key),
                                  found->second));
        }
        const KeyLine at{line_, key};
        auto wrong =
            text_.sections.empty() ? takePolicyKey(text_, at, value) : takePolicyKey(text_.sections.back(), at, value);
        if (wrong) problem(std::move(*wrong));
    }

    // Called when the head or a section is complete. If one of its lines has a mistake, the part is not checked as a
    // whole: a missing key may be just the one with the mistake.
    void endPart() {
        if (count_ == before_) checkWhole();
        given_.clear();
        before_ = count_;
    }

    void checkWhole() {
        if (text_.sections.empty()) {
            if (!given_.contains("title")) {
                problem(remark(policyLine, "line %d: the head before it has no title", line_));
            }
            if (!given_.contains("version")) {
                problem(remark(policyLine, "line %d: the head before it has no version", line_));
            }
            return;
        }
        const PolicySection& section = text_.sections.back();
        for (bridge::Remark& wrong : contradictionsOf(section)) problem(std::move(wrong));
        remarkUnreachable(section);
    }

    // The first section that matches decides, so a second one for the same traffic never does.
    void remarkUnreachable(const PolicySection& section) {
        const std::string traffic = section.network + " " + section.protocol + " " + section.port;
        const auto [found, isNew] = traffic_.emplace(traffic, section.name);
        if (isNew) return;
        note(remark(policyLine, "line %d: section [%s] never decides: section [%s] before it is for the same traffic",
                    section.line, section.name, found->second));
    }

    PolicyText text_;
    unsigned line_ = 0;
    Remarks problems_;
    unsigned count_ = 0;
    unsigned before_ = 0;                   // problems of the parts before this one
    std::map<std::string, unsigned> given_; // keys of this part, and their lines
    std::map<std::string, unsigned> names_; // sections, and their lines
    std::map<std::string, std::string> traffic_;
};

} // namespace

std::string inLines(const Remarks& remarks) {
    std::string text;
    for (const bridge::Remark& remark : remarks) text += (text.empty() ? "" : "\n") + Loc::fill(remark.phrase);
    return text;
}

PolicyText readPolicyText(std::string_view content) {
    if (content.size() > vocabulary::largestPolicyFile) {
        throw PolicyTextError({remark(Refused::badInput, "it is larger than 1 MiB")});
    }
    return Reader().read(content);
}

} // namespace panelkitd
