// SPDX-License-Identifier: MIT
//
// panelctl config ...: the verbs that only look. Those that change are in config_change_verbs.cpp.
#include <panelctl/base/output.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/base/verbs.h>
#include <panelctl/config/config_file.h>
#include <panelctl/config/config_json.h>

#include <nlohmann/json.hpp>

#include <optional>

namespace panelctl {

using nlohmann::ordered_json;

namespace {

void addReveal(CLI::App& verb, bool& reveal) { verb.add_flag("--reveal", reveal, say("Show secrets")); }

// The named parameters, or all, as the service holds them.
std::vector<SectionValue> readValues(ConfigDraft& draft, const std::vector<std::string>& names) {
    std::vector<SectionValue> values;
    for (const Place& place : findParameters(names)) values.push_back(draft.at(place));
    return values;
}

ordered_json listToJson(const std::vector<SectionValue>& values, bool reveal) {
    auto list = ordered_json::array();
    for (const SectionValue& value : values) list.push_back(parameterToJson(value, reveal));
    return list;
}

struct ConfigList {
    std::vector<std::string> names;
    bool reveal = false;

    void options(CLI::App& verb) {
        verb.add_option("names", names, say("Sections, or parameters as SECTION.KEY (default: all)"));
        addReveal(verb, reveal);
    }
    void run(const Context& context) const {
        ConfigDraft draft;
        const std::vector<SectionValue> values = readValues(draft, names);
        if (context.json) return printJson(listToJson(values, reveal));
        Table table({say("NAME"), say("VALUE"), say("MEANING")});
        for (const SectionValue& value : values) {
            table.add({{nameOf(value)},
                       {shown(value, reveal), value.isDefault() ? Mood::plain : Mood::good},
                       {value.param->label, Mood::faint}});
        }
        table.print();
    }
};

struct ConfigGet {
    std::string name;
    bool reveal = false;

    void options(CLI::App& verb) {
        verb.add_option("name", name, say("SECTION.KEY, in upper or lower case"))->required();
        addReveal(verb, reveal);
    }
    void run(const Context& context) const {
        ConfigDraft draft;
        const SectionValue value = draft.at(findParameter(name));
        if (context.json) return printJson(parameterToJson(value, reveal));
        printLine(escaped(shown(value, reveal)));
    }
};

struct ConfigDiff {
    std::vector<std::string> names;
    bool reveal = false;
    bool check = false;

    void options(CLI::App& verb) {
        verb.add_option("names", names, say("Sections, or parameters as SECTION.KEY (default: all)"));
        addReveal(verb, reveal);
        verb.add_flag("--check", check, say("Exit with code 55 if anything differs"));
    }
    void run(const Context& context) const {
        ConfigDraft draft;
        std::vector<SectionValue> differing;
        for (const SectionValue& value : readValues(draft, names)) {
            if (!value.isDefault()) differing.push_back(value);
        }
        print(differing, context);
        // A secret that the service makes itself always differs.
        std::erase_if(differing,
                      [](const SectionValue& value) { return panelkit::kindOf(*value.param).isLeftToService; });
        if (check && !differing.empty()) {
            throw CommandError(Exit::wouldChange, sayPlural("%d parameter differs from its default",
                                                            "%d parameters differ from their defaults",
                                                            differing.size(), differing.size()));
        }
    }

private:
    void print(const std::vector<SectionValue>& differing, const Context& context) const {
        if (context.json) return printJson(listToJson(differing, reveal));
        if (differing.empty()) return printNote(say("Everything has its default value."));
        Table table({say("NAME"), say("DEFAULT"), say("NOW")});
        for (const SectionValue& value : differing) {
            table.add({{nameOf(value)}, {panelkit::printDefault(*value.param)}, {shown(value, reveal), Mood::good}});
        }
        table.print();
    }
};

struct ConfigExport {
    std::vector<std::string> names;
    bool reveal = false;

    void options(CLI::App& verb) {
        verb.add_option("names", names, say("Sections, or parameters as SECTION.KEY (default: all)"));
        addReveal(verb, reveal);
    }
    void run(const Context&) const {
        ConfigDraft draft;
        LeftOut leftOut;
        printJson(configToJson(readValues(draft, names), reveal, leftOut));
        if (!leftOut.secrets.empty()) printNote(say("Left out: %s (--reveal exports secrets).", leftOut.secrets));
        if (!leftOut.texts.empty()) {
            printNote(say("Left out: %s (text that is not UTF-8, which JSON can't hold).", leftOut.texts));
        }
    }
};

// ---- describe

void printField(const std::string& name, const std::string& value) {
    const std::string indent = padded("", 10);
    std::string line = padded(name, 10);
    for (std::size_t start = 0; start != std::string::npos;) {
        const std::size_t end = value.find('\n', start);
        printLine(line + escaped(value.substr(start, end == std::string::npos ? end : end - start)));
        line = indent;
        start = end == std::string::npos ? end : end + 1;
    }
}

struct ConfigDescribe {
    std::string name;
    bool reveal = false;

    void options(CLI::App& verb) {
        verb.add_option("name", name, say("SECTION.KEY, in upper or lower case"))->required();
        addReveal(verb, reveal);
    }

    // Everything but the value is known without the service too.
    void run(const Context& context) const {
        const Place place = findParameter(name);
        const SectionBody standard = SectionBody::defaultsOf(*place.group);
        ConfigDraft draft;
        std::string problem;
        const SectionValue value = inService(draft, place, standard, problem);
        const bool isRead = problem.empty();
        if (context.json) {
            ordered_json record = parameterToJson(value, reveal);
            if (!isRead) {
                printNote(escaped(problem));
                record["value"] = record["text"] = record["isDefault"] = nullptr;
            }
            describeInJson(record, value);
            return printJson(record);
        }
        print(value, isRead ? shown(value, reveal) : '(' + problem + ')', isRead);
    }

private:
    // The value as the service has it; with a problem, the default.
    static SectionValue inService(ConfigDraft& draft, const Place& place, const SectionBody& standard,
                                  std::string& problem) {
        try {
            return draft.at(place);
        } catch (const CommandError& error) {
            problem = error.what();
            return standard[standard.indexOf(place.param->key)];
        }
    }

    static void print(const SectionValue& value, const std::string& text, bool isRead) {
        const Param& param = *value.param;
        printLine(nameOf(value));
        printField(say("label"), param.label);
        if (*param.help && &param.help != &param.label) printField(say("help"), helpOf(value, isRead));
        printField(say("effect"), effectText(value));
        printField(say("value"), text);
        printField(say("default"), panelkit::printDefault(param));
        if (panelkit::kindOf(param).form == panelkit::ValueForm::choice) return printChoices(value);
        printField(say("legal"), panelkit::legalValues(param));
    }

    // Of a help with a half for each state, the half of the present state; both when that is not known.
    static std::string helpOf(const SectionValue& value, bool isRead) {
        using LPARAMS::Client::BoolParam;
        std::string help = value.param->help;
        const bool isFlag = panelkit::kindOf(*value.param).form == panelkit::ValueForm::flag;
        const std::string marker = BoolParam::HelpMarker();
        const std::size_t at = isFlag ? help.find(marker) : std::string::npos;
        if (at == std::string::npos) return help;
        if (!isRead) return help.substr(0, at) + BoolParam::HelpMarkerReplaceBy() + help.substr(at + marker.size());
        return value.get<bool>() ? help.substr(0, at) : help.substr(at + marker.size());
    }

    static void printChoices(const SectionValue& value) {
        const auto chosen = value.get<std::int32_t>();
        Table table({say("CHOICE"), say("NUMBER"), say("SYMBOLIC NAME")});
        for (const auto* row = panelkit::kindOf(*value.param).choices(*value.param); row->text; ++row) {
            const Mood mood = row->value == chosen ? Mood::good : Mood::plain;
            table.add({{*row->text, mood}, {'=' + std::to_string(row->value)}, {row->name ? row->name : ""}});
        }
        table.print();
    }
};

} // namespace

void addConfigVerbs(CLI::App& group, const Context& context) {
    addVerb<ConfigList>(group, context, "list", say("List parameters with their values"));
    addVerb<ConfigGet>(group, context, "get", say("Print the value of a parameter"));
    addVerb<ConfigDescribe>(group, context, "describe", say("Explain a parameter and its legal values"));
    addVerb<ConfigDiff>(group, context, "diff", say("Show what differs from the defaults"));
    addVerb<ConfigExport>(group, context, "export", say("Print the configuration as a file for 'apply'"));
    addConfigChangeVerbs(group, context);
    addConfigPendingVerbs(group, context);
}

} // namespace panelctl
