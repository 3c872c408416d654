// SPDX-License-Identifier: MIT
#include <panelctl/config/config_file.h>

#include <panelctl/config/config_json.h>
#include <panelctl/config/json_file.h>
#include <panelctl/display_width.h>
#include <panelctl/output.h>
#include <panelctl/say.h>

#include <nlohmann/json.hpp>

namespace panelctl {

using nlohmann::ordered_json;

namespace {

constexpr int version = 1;
// ---- from JSON to the draft

// Goes on behind a fault, so that a file is mended in one go.
class FileReader {
public:
    FileReader(const JsonFile& file, ConfigDraft& draft) : file_(file), draft_(draft) {}

    void read() {
        const ordered_json& content = file_.content();
        if (!content.is_object()) {
            throw CommandError(Exit::badInput,
                               file_.at() + say("a configuration must be an object: {\"SECTION\": {\"KEY\": value}}"));
        }
        for (const auto& [name, value] : content.items()) {
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
        if (value == version) return;
        throw CommandError(Exit::badInput, file_.at("schema") +
                                               say("schema %s is unknown; this panelctl reads schema 1", value.dump()));
    }

    void readSection(const std::string& name, const ordered_json& keys) {
        const Place section = catalogue().find(name, "");
        if (!section.group || name != section.group->name) return note(name, noSuchSection(name));
        if (!keys.is_object()) {
            return note(name, {Exit::badInput, say("section %s is not an object: {\"KEY\": value}", name)});
        }
        ParamGroup& group = *draft_.at(section).group;
        for (const auto& [key, value] : keys.items()) readParameter(group, key, value);
        try {
            requireConstraints(group);
        } catch (const CommandError& error) {
            note(name, error);
        }
    }

    void readParameter(ParamGroup& group, const std::string& key, const ordered_json& value) {
        const std::string path = std::string(group.name) + '.' + key;
        Param* const param = panelkit::findParam(group, key);
        if (!param || key != param->key) return note(path, noSuchKey(group, key));
        try {
            setFromJson(group, *param, value);
        } catch (const CommandError& error) {
            note(path, error);
        }
    }

    void note(const std::string& path, const CommandError& error) {
        faults_.emplace_back(error.code, file_.at(path) + error.what());
    }

    void failOnFaults() const {
        if (faults_.empty()) return;
        if (faults_.size() == 1) throw CommandError(faults_[0]);
        for (const CommandError& fault : faults_) printNote(escaped(fault.what()));
        throw CommandError(Exit::badInput,
                           file_.at() + sayPlural("%d error; nothing was changed", "%d errors; nothing was changed",
                                                  faults_.size(), faults_.size()));
    }

    const JsonFile& file_;
    ConfigDraft& draft_;
    std::vector<CommandError> faults_;
};

} // namespace

void readConfigFile(const std::string& path, ConfigDraft& draft) {
    const JsonFile file(path);
    FileReader(file, draft).read();
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
        const bool isHidden = panelkit::isSecret(group->name, param->key) && !reveal;
        const std::string masked = shown(*group, *param, reveal);
        if (isHidden && masked.empty()) continue; // applied elsewhere, it would clear the secret there
        const ordered_json value = valueToJson(*group, *param, reveal);
        if (isHidden && masked == secretMask) {
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
