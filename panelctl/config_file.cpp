// SPDX-License-Identifier: MIT
#include <panelctl/config_file.h>

#include <panelctl/config_json.h>
#include <panelctl/display_width.h>
#include <panelctl/output.h>
#include <panelctl/terminal.h>
#include <panelctl/texts.h>

#include <platform/system/wipe.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <set>

namespace panelctl {

using nlohmann::ordered_json;

namespace {

constexpr int version = 1;
constexpr std::size_t largestFile = std::size_t{4} << 20;

// ---- from the file to JSON

std::string readAll(int descriptor, const std::string& path) {
    std::string text;
    for (int byte = readByte(descriptor); byte >= 0; byte = readByte(descriptor)) {
        if (text.size() == largestFile) {
            platform::wipe(text);
            throw CommandError(Exit::tooLarge, phrase(Say::configFileTooLarge, {path, std::to_string(largestFile)}));
        }
        if (text.size() == text.capacity()) { // grows without leaving copies of secrets behind
            std::string larger;
            larger.reserve(2 * text.size() + 65536);
            larger = text;
            platform::wipe(text);
            text.swap(larger);
        }
        text += static_cast<char>(byte);
    }
    return text;
}

std::string readWholeFile(const std::string& path) {
    if (path == "-") return readAll(0, text(Say::standardInput));
    const OpenedFile file(path);
    return readAll(file.descriptor(), path);
}

// "file:3:14", lines and columns counted from 1.
std::string placeOf(const std::string& path, const std::string& text, std::size_t byte) {
    const std::size_t end = std::min(byte == 0 ? 0 : byte - 1, text.size());
    const auto lines = std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end), '\n');
    const std::size_t lineStart = end == 0 ? std::string::npos : text.rfind('\n', end - 1);
    const std::size_t column = end - (lineStart == std::string::npos ? 0 : lineStart + 1) + 1;
    return path + ':' + std::to_string(lines + 1) + ':' + std::to_string(column);
}

// Refuses an object with two members of one name, of which the parser would drop one.
class NoDuplicates {
public:
    bool operator()(ordered_json::parse_event_t event, const ordered_json& parsed) {
        using Event = ordered_json::parse_event_t;
        if (event == Event::object_start) names_.emplace_back();
        if (event == Event::object_end) names_.pop_back();
        if (event == Event::key && !names_.back().insert(parsed.get<std::string>()).second) {
            throw CommandError(Exit::badInput, phrase(Say::fileNameTwice, {parsed.get<std::string>()}));
        }
        return true;
    }

private:
    std::vector<std::set<std::string>> names_;
};

ordered_json parse(const std::string& path, const std::string& text) {
    NoDuplicates check;
    try {
        return ordered_json::parse(
            text, [&](int, ordered_json::parse_event_t event, ordered_json& parsed) { return check(event, parsed); });
    } catch (const ordered_json::parse_error& error) {
        // The parser's own words quote the file, which may hold a secret there.
        throw CommandError(Exit::badInput, phrase(Say::fileNoJson, {placeOf(path, text, error.byte)}));
    } catch (const CommandError& error) {
        throw CommandError(error.code, path + ": " + error.what());
    }
}

void wipeTexts(ordered_json& value) {
    if (auto* const text = value.get_ptr<std::string*>()) platform::wipe(*text);
    if (value.is_structured()) {
        for (ordered_json& inner : value) wipeTexts(inner);
    }
}

// ---- from JSON to the draft

// Goes on behind a fault, so that a file is mended in one go.
class FileReader {
public:
    FileReader(const std::string& path, ConfigDraft& draft) : path_(path), draft_(draft) {}

    void read(const ordered_json& file) {
        if (!file.is_object()) throw CommandError(Exit::badInput, phrase(Say::fileNoObject, {path_}));
        for (const auto& [name, value] : file.items()) {
            if (name == "schema") {
                requireVersion(value);
            } else if (name != "$schema") {
                readSection(name, value);
            }
        }
        failOnFaults();
    }

private:
    void requireVersion(const ordered_json& value) const {
        if (value != version) throw CommandError(Exit::badInput, phrase(Say::fileVersion, {path_, value.dump()}));
    }

    void readSection(const std::string& name, const ordered_json& keys) {
        const Place section = catalogue().find(name, "");
        if (!section.group || name != section.group->name) return note(noSuchSection(name));
        if (!keys.is_object()) return note({Exit::badInput, phrase(Say::fileSectionNoObject, {name})});
        const Place drafted = draft_.at(section); // when the service can't be read, the faults can't be found
        for (const auto& [key, value] : keys.items()) readParameter(*drafted.group, key, value);
        try {
            requireConstraints(*drafted.group);
        } catch (const CommandError& error) {
            note(error);
        }
    }

    void readParameter(ParamGroup& group, const std::string& key, const ordered_json& value) {
        Param* const param = panelkit::findParam(group, key);
        if (!param || key != param->key) return note(noSuchKey(group, key));
        try {
            setFromJson(group, *param, value);
        } catch (const CommandError& error) {
            note(error);
        }
    }

    void note(const CommandError& error) { faults_.push_back(error); }

    void failOnFaults() const {
        if (faults_.empty()) return;
        if (faults_.size() == 1) throw CommandError(faults_[0].code, path_ + ": " + faults_[0].what());
        for (const CommandError& fault : faults_) printNote(escaped(path_ + ": " + fault.what()));
        throw CommandError(Exit::badInput, phrase(Say::fileFaults, {path_, std::to_string(faults_.size())}));
    }

    const std::string& path_;
    ConfigDraft& draft_;
    std::vector<CommandError> faults_;
};

} // namespace

void readConfigFile(const std::string& path, ConfigDraft& draft) {
    std::string text = readWholeFile(path);
    const platform::WipeOnExit wiped(text);
    const std::string name = path == "-" ? panelctl::text(Say::standardInput) : path;
    ordered_json file = parse(name, text);
    try {
        FileReader(name, draft).read(file);
    } catch (...) {
        wipeTexts(file);
        throw;
    }
    wipeTexts(file);
}

// ---- from the service to a file

namespace {

bool isCarried(const ordered_json& value) {
    try {
        return !value.dump().empty();
    } catch (const ordered_json::type_error&) { // text that is no UTF-8
        return false;
    }
}

} // namespace

ordered_json configToJson(const std::vector<Place>& places, bool reveal, LeftOut& leftOut) {
    ordered_json file{{"schema", version}};
    const auto leave = [](std::string& list, const std::string& name) { list += (list.empty() ? "" : ", ") + name; };
    for (const auto& [group, param] : places) {
        const ordered_json value = valueToJson(*group, *param, reveal);
        const bool isHidden = panelkit::isSecret(group->name, param->key) && !reveal;
        if (isHidden && value == "") continue; // applied elsewhere, it would clear the secret there
        if (isHidden && value == secretMask) {
            leave(leftOut.secrets, nameOf(*group, *param));
        } else if (!isCarried(value)) {
            leave(leftOut.texts, nameOf(*group, *param));
        } else {
            file[group->name][param->key] = value;
        }
    }
    return file;
}

} // namespace panelctl
