// SPDX-License-Identifier: MIT
#include <panelctl/config/config_file.h>

#include <panelctl/base/input.h>
#include <panelctl/base/output.h>
#include <panelctl/base/say.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/config/config_json.h>

#include <platform/json/json.h>
#include <platform/system/wipe.h>
#include <platform/text/utf8_character.h>

#include <nlohmann/json.hpp>

namespace panelctl {

using nlohmann::ordered_json;
namespace json = platform::json;

namespace {

constexpr std::uint32_t version = 1;

// ---- the file's text

constexpr std::size_t largestFile = std::size_t{4} << 20;

// ---- from JSON to the draft

// Continues after an error, so that people see all errors of a file at once.
class FileReader {
public:
    FileReader(std::string name, ConfigDraft& draft) : name_(std::move(name)), draft_(draft) {}

    void read(const json::Value& content) {
        if (content.kind != json::Kind::object) {
            throw CommandError(Exit::badInput,
                               name_ + ": " +
                                   say("a configuration must be an object: {\"SECTION\": {\"KEY\": value}}"));
        }
        for (const json::Member& member : content.members) {
            if (member.name == "schema") {
                requireVersion(member);
            } else if (member.name != "$schema") {
                readSection(member);
            }
        }
        failOnErrors();
    }

private:
    void requireVersion(const json::Member& schema) const {
        if (schema.value.number<std::uint32_t>() == version) return;
        throw CommandError(Exit::badInput, at(schema) + say("schema %s is unknown; this panelctl reads schema 1",
                                                            json::print(schema.value)));
    }

    void readSection(const json::Member& member) {
        const std::string name(member.name);
        const Place section = allGroups().find(name, "");
        if (!section.group || name != section.group->name) return note(member, noSuchSection(name));
        if (member.value.kind != json::Kind::object) {
            return note(member, {Exit::badInput, say("section %s is not an object: {\"KEY\": value}", name)});
        }
        SectionBody& body = draft_.section(section.group->name);
        for (const json::Member& parameter : member.value.members) readParameter(body, parameter);
        try {
            requireConstraints(body);
        } catch (const CommandError& error) {
            note(member, error);
        }
    }

    void readParameter(SectionBody& body, const json::Member& member) {
        const std::size_t index = body.indexOf(member.name);
        if (index == body.size() || member.name != body[index].param->key) {
            return note(member, noSuchKey(body.section(), std::string(member.name)));
        }
        try {
            setFromJson(body, index, member.value);
        } catch (const CommandError& error) {
            note(member, error);
        }
    }

    // "file:3: "
    std::string at(const json::Member& member) const { return name_ + ':' + std::to_string(member.line) + ": "; }
    void note(const json::Member& member, const CommandError& error) {
        errors_.emplace_back(error.code, at(member) + error.what());
    }

    void failOnErrors() const {
        if (errors_.empty()) return;
        if (errors_.size() == 1) throw CommandError(errors_[0]);
        for (const CommandError& error : errors_) printNote(escaped(error.what()));
        throw CommandError(Exit::badInput,
                           name_ + ": " +
                               sayPlural("%d error; nothing was changed", "%d errors; nothing was changed",
                                         errors_.size(), errors_.size()));
    }

    const std::string name_;
    ConfigDraft& draft_;
    std::vector<CommandError> errors_;
};

CommandError unreadable(const std::string& name, const json::Error& error) {
    const std::string line = name + ':' + std::to_string(error.line);
    switch (error.why) {
    case json::Error::Why::nameTwice: return {Exit::badInput, line + ": " + say("duplicate key \"%s\"", error.path)};
    case json::Error::Why::tooDeep:
        return {Exit::badInput, line + ": " + say("objects and lists are nested more than %d deep", json::deepest)};
    case json::Error::Why::malformed: break;
    }
    return {Exit::badInput, say("%s: not valid JSON", line + ':' + std::to_string(error.column))};
}

} // namespace

void readConfigFile(const std::string& path, ConfigDraft& draft) {
    const std::string name = inputName(path);
    std::string content = readInput(path, largestFile);
    const platform::WipeOnExit wiped(content);
    try {
        const json::Document document(content);
        FileReader(name, draft).read(document.root());
    } catch (const json::Error& error) {
        throw unreadable(name, error);
    }
}

// ---- from the service to a file

ordered_json configToJson(const std::vector<SectionValue>& values, bool reveal, LeftOut& leftOut) {
    ordered_json file{{"schema", version}};
    const auto leave = [](std::string& list, const std::string& name) { list += (list.empty() ? "" : ", ") + name; };
    for (const SectionValue& value : values) {
        const bool isHidden = value.isSecret() && !reveal;
        const std::string text = shown(value, reveal);
        if (isHidden && text.empty()) continue; // applied elsewhere, it would clear the secret there
        if (isHidden && text == secretMask) {
            leave(leftOut.secrets, nameOf(value));
        } else if (!platform::isValidUtf8(text)) {
            leave(leftOut.texts, nameOf(value));
        } else {
            file[value.section->name][value.param->key] = valueToJson(value, reveal);
        }
    }
    return file;
}

} // namespace panelctl
