// SPDX-License-Identifier: MIT
#include <service/config/configuration_text.h>

#include <panelkit/lparams/param_group.h>
#include <panelkit/lparams/sections/sections.h>
#include <platform/json/json.h>
#include <platform/system/wipe.h>

#include <algorithm>

namespace panelkitd {

using LPARAMS::Client::Param;
using LPARAMS::Client::ParamGroup;
using panelkit::kindOf;
using panelkit::SectionBody;
using std::string_view;

namespace json = platform::json;

const ParamGroup* findSection(string_view name) {
    const ParamGroup* const section = panelkit::allGroups().find(name, "").group;
    return section && name == section->name ? section : nullptr;
}

// ---- printing

namespace {

std::size_t roomFor(const Bodies& bodies) {
    std::size_t room = 200;
    for (const auto& [name, body] : bodies) {
        room += 100;
        for (std::size_t i = 0; i < body.size(); ++i) room += 100 + panelkit::maxJsonSize(body[i].stored);
    }
    return room;
}

void printSection(const SectionBody& body, std::string& text) {
    text += "    \"" + std::string(body.section().name) + "\": {";
    const char* separator = "\n";
    for (std::size_t i = 0; i < body.size(); ++i) {
        const auto [section, param, stored] = body[i];
        text += separator + std::string("      \"") + param->key + "\": ";
        kindOf(*param).printJson(*param, stored, text);
        separator = ",\n";
    }
    text += "\n    }";
}

} // namespace

std::string printConfiguration(const Bodies& bodies) {
    std::string text;
    text.reserve(roomFor(bodies)); // growing would leave copies of secrets in freed memory
    text += "{\n  \"format\": " + std::to_string(configurationFormat) + ",\n  \"sections\": {";
    const char* separator = "\n";
    for (const auto& [name, body] : bodies) {
        text += separator;
        printSection(body, text);
        separator = ",\n";
    }
    text += "\n  }\n}\n";
    return text;
}

// ---- reading

namespace {

class Reader {
public:
    explicit Reader(ReadConfiguration& result) : result_(result) {}

    void read(const json::Value& whole);

private:
    void readSections(const json::Member& sections);
    void readSection(const json::Member& section);
    void readParam(const std::string& name, const json::Member& member, SectionBody& body, std::size_t index);
    void noteBounds(int line, const std::string& name, const panelkit::SectionValue& number);

    // "line 12: IKE.MAX_HALFOPEN: expected ..."
    static std::string remark(int line, string_view name, const std::string& what) {
        return "line " + std::to_string(line) + ": " + std::string(name) + ": " + what;
    }
    void problem(int line, string_view name, const std::string& what) {
        result_.problems.push_back(remark(line, name, what));
    }

    ReadConfiguration& result_;
    Bodies bodies_;
};

void Reader::read(const json::Value& whole) {
    if (whole.kind != json::Kind::object)
        return result_.problems.emplace_back("line 1: expected an object in braces"), void();
    for (const json::Member& member : whole.members) {
        if (member.name == "format" || member.name == "sections") continue;
        problem(member.line, member.name, R"(unknown; expected "format" and "sections")");
    }
    const json::Member* const sections = whole.find("sections");
    if (!sections) return problem(1, "sections", "expected an object in braces");
    readSections(*sections);
}

void Reader::readSections(const json::Member& sections) {
    if (sections.value.kind != json::Kind::object) {
        return problem(sections.line, sections.name, "expected an object in braces");
    }
    for (const json::Member& section : sections.value.members) readSection(section);
    if (result_.problems.empty()) result_.bodies = std::move(bodies_);
}

void Reader::readSection(const json::Member& section) {
    const ParamGroup* const prototype = findSection(section.name);
    if (!prototype) return problem(section.line, section.name, "there is no such section");
    if (section.value.kind != json::Kind::object) {
        return problem(section.line, section.name, "expected the section's parameters in braces");
    }
    const std::string start = std::string(section.name) + '.';
    SectionBody body = SectionBody::defaultsOf(*prototype);
    for (const json::Member& member : section.value.members) {
        const bool isKnown = std::any_of(prototype->params.begin(), prototype->params.end(),
                                         [&](const Param* param) { return param->key == member.name; });
        if (!isKnown) problem(member.line, start + std::string(member.name), "the section has no such parameter");
    }
    for (std::size_t i = 0; i < body.size(); ++i) {
        const std::string key = body[i].param->key;
        if (const json::Member* member = section.value.find(key)) {
            readParam(start + key, *member, body, i);
        } else {
            problem(section.line, section.name, key + " is missing");
        }
    }
    bodies_.emplace(prototype->name, std::move(body));
}

void Reader::readParam(const std::string& name, const json::Member& member, SectionBody& body, std::size_t index) {
    const Param& param = *body[index].param;
    try {
        std::string stored = kindOf(param).readJson(param, member.value, panelkit::JsonRules::stored);
        const platform::WipeOnExit wiped(stored);
        body.replace(index, stored);
    } catch (const panelkit::JsonMisfit& misfit) {
        return problem(member.line, name, misfit.what());
    }
    if (kindOf(param).form == panelkit::ValueForm::number) noteBounds(member.line, name, body[index]);
}

void Reader::noteBounds(int line, const std::string& name, const panelkit::SectionValue& number) {
    const std::string text = number.print();
    if (kindOf(*number.param).read(*number.param, text, panelkit::TextForm::stored)) return;
    result_.notes.push_back(remark(line, name, text + " is outside " + panelkit::legalValues(*number.param)));
}

} // namespace

ReadConfiguration readConfiguration(string_view text) {
    ReadConfiguration result;
    try {
        const json::Document document(text);
        Reader(result).read(document.root());
    } catch (const json::Error& error) {
        result.problems.emplace_back(error.what());
    }
    return result;
}

} // namespace panelkitd
