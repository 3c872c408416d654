// SPDX-License-Identifier: MIT
#include <service/config/configuration_text.h>

#include <service/config/json_lines.h>
#include <service/config/value_json.h>

#include <panelkit/lparams/param_visit.h>
#include <platform/system/wipe.h>

#include <nlohmann/json.hpp>

#include <algorithm>

namespace panelkitd {

using LPARAMS::Client::Param;
using LPARAMS::Client::ParamGroup;
using nlohmann::json;

namespace {

constexpr int format = 1;

std::size_t roomFor(const Shapes& shapes, const Bodies& bodies) {
    std::size_t room = 200;
    for (const auto& [name, body] : bodies) {
        room += 100;
        for (const Value& value : shapes.cut(*shapes.find(name), body)) room += 100 + panelkitd::roomFor(value);
    }
    return room;
}

void printSection(const Shapes& shapes, const std::string& name, const std::string& body, std::string& text) {
    text += "    \"" + name + "\": {";
    const char* separator = "\n";
    for (const Value& value : shapes.cut(*shapes.find(name), body)) {
        text += separator + std::string("      \"") + value.param->key + "\": ";
        printValue(shapes, value, text);
        separator = ",\n";
    }
    text += "\n    }";
}

void wipeTexts(json& value) {
    if (value.is_string()) platform::wipe(value.get_ref<std::string&>());
    if (!value.is_structured()) return;
    for (json& inner : value) wipeTexts(inner);
}

class Reader {
public:
    Reader(const Shapes& shapes, ReadConfiguration& result) : shapes_(shapes), result_(result) {}

    void read(std::string_view text) {
        lines_ = findLines(text);
        json whole = json::parse(text);
        readWhole(whole);
        wipeTexts(whole);
    }

private:
    // "line 12: IKE.MAX_HALFOPEN: " for "sections.IKE.MAX_HALFOPEN".
    std::string place(const std::string& path) const {
        constexpr std::string_view above = "sections.";
        const auto line = lines_.find(path);
        const std::string shown = path.starts_with(above) ? path.substr(above.size()) : path;
        return "line " + std::to_string(line == lines_.end() ? 1 : line->second) + ": " + shown + ": ";
    }
    void problem(const std::string& path, const std::string& what) { result_.problems.push_back(place(path) + what); }

    void readWhole(const json& whole);
    void readSection(const std::string& path, const std::string& name, const json& content);
    void readParam(const std::string& path, const Param& param, const json& value, std::string& body);
    void noteBounds(const std::string& path, const Param& param, const json& value);

    const Shapes& shapes_;
    ReadConfiguration& result_;
    std::map<std::string, int> lines_;
    Bodies bodies_;
};

void Reader::readWhole(const json& whole) {
    if (!whole.is_object()) return result_.problems.emplace_back("line 1: expected an object in braces"), void();
    for (const auto& [key, value] : whole.items()) {
        if (key != "format" && key != "sections") problem(key, R"(unknown; expected "format" and "sections")");
    }
    const json version = whole.value("format", json());
    if (!version.is_number_unsigned() || version == 0U) return problem("format", "expected the number 1");
    if (version > format) return problem("format", "written by a newer version of the service");
    const json& sections = whole.contains("sections") ? whole["sections"] : version;
    if (!sections.is_object()) return problem("sections", "expected an object in braces");
    for (const auto& [name, content] : sections.items()) readSection("sections." + name, name, content);
    if (result_.problems.empty()) result_.bodies = std::move(bodies_);
}

void Reader::readSection(const std::string& path, const std::string& name, const json& content) {
    const ParamGroup* section = shapes_.find(name);
    if (!section) return problem(path, "there is no such section");
    if (!content.is_object()) return problem(path, "expected the section's parameters in braces");
    const std::string start = path + '.';
    for (const auto& [key, value] : content.items()) {
        const bool known = std::any_of(section->params.begin(), section->params.end(),
                                       [&, wanted = key](const Param* param) { return param->key == wanted; });
        if (!known) problem(start + key, "the section has no such parameter");
    }
    std::string body;
    const platform::WipeOnExit wiped(body);
    for (const Param* param : section->params) {
        if (content.contains(param->key)) {
            readParam(start + param->key, *param, content[param->key], body);
        } else {
            problem(path, std::string(param->key) + " is missing");
        }
    }
    bodies_.set(name, body);
}

void Reader::readParam(const std::string& path, const Param& param, const json& value, std::string& body) {
    try {
        readValue(shapes_, param, value, body);
        noteBounds(path, param, value);
    } catch (const ValueError& error) {
        problem(path, error.what());
    }
}

void Reader::noteBounds(const std::string& path, const Param& param, const json& value) {
    const auto note = [&](const auto& number) {
        const auto given = value.get<std::uint64_t>();
        if (given >= number.minValue && given <= number.maxValue) return;
        result_.notes.push_back(place(path) + std::to_string(given) + " is outside " + std::to_string(number.minValue) +
                                ".." + std::to_string(number.maxValue));
    };
    panelkit::visitParam(param, panelkit::Overloaded{
                                    [&](const LPARAMS::Client::PortParam& port) { note(port); },
                                    [&](const LPARAMS::Client::UIntParam& number) { note(number); },
                                    [](const auto&) {},
                                });
}

} // namespace

std::string printConfiguration(const Shapes& shapes, const Bodies& bodies) {
    std::string text;
    text.reserve(roomFor(shapes, bodies)); // growing would leave copies of secrets behind
    text += "{\n  \"format\": " + std::to_string(format) + ",\n  \"sections\": {";
    const char* separator = "\n";
    for (const auto& [name, body] : bodies) {
        text += separator;
        printSection(shapes, name, body, text);
        separator = ",\n";
    }
    text += "\n  }\n}\n";
    return text;
}

ReadConfiguration readConfiguration(const Shapes& shapes, std::string_view text) {
    ReadConfiguration result;
    try {
        Reader(shapes, result).read(text);
    } catch (const JsonError& error) {
        result.problems.emplace_back(error.what());
    }
    return result;
}

} // namespace panelkitd
