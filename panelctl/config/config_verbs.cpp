// SPDX-License-Identifier: MIT
//
// panelctl config ...: the verbs that only look. Those that change are in config_change_verbs.cpp.
#include <panelctl/config/config_file.h>
#include <panelctl/config/config_json.h>
#include <panelctl/display_width.h>
#include <panelctl/output.h>
#include <panelctl/verbs.h>

#include <panelkit/lparams/param_visit.h>

#include <nlohmann/json.hpp>

#include <optional>

namespace panelctl {

using nlohmann::ordered_json;

namespace {

void addReveal(CLI::App& verb, bool& reveal) { verb.add_flag("--reveal", reveal, say("Show secrets")); }

const Param& standardOf(const ParamGroup& group, const Param& param) {
    return *catalogue().find(group.name, param.key).param;
}

// The named parameters, or all, as the service holds them.
std::vector<Place> readPlaces(ConfigDraft& draft, const std::vector<std::string>& names) {
    std::vector<Place> places;
    for (const Place& place : findParameters(names)) places.push_back(draft.at(place));
    return places;
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
        const std::vector<Place> places = readPlaces(draft, names);
        if (context.json) {
            auto list = ordered_json::array();
            for (const Place& place : places) list.push_back(parameterToJson(*place.group, *place.param, reveal));
            return printJson(list);
        }
        Table table({say("NAME"), say("VALUE"), say("MEANING")});
        for (const auto& [group, param] : places) {
            const bool isDefault = sameValue(*param, standardOf(*group, *param));
            table.add({{nameOf(*group, *param)},
                       {shown(*group, *param, reveal), isDefault ? Mood::plain : Mood::good},
                       {param->label, Mood::faint}});
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
        const auto [group, param] = draft.at(findParameter(name));
        if (context.json) return printJson(parameterToJson(*group, *param, reveal));
        printLine(escaped(shown(*group, *param, reveal)));
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
        std::vector<Place> differing;
        for (const Place& place : readPlaces(draft, names)) {
            if (!sameValue(*place.param, standardOf(*place.group, *place.param))) differing.push_back(place);
        }
        print(differing, context);
        if (check && !differing.empty()) {
            throw CommandError(Exit::wouldChange, sayPlural("%d parameter differs from its default",
                                                            "%d parameters differ from their defaults",
                                                            differing.size(), differing.size()));
        }
    }

private:
    void print(const std::vector<Place>& differing, const Context& context) const {
        if (context.json) {
            auto list = ordered_json::array();
            for (const auto& [group, param] : differing) list.push_back(parameterToJson(*group, *param, reveal));
            return printJson(list);
        }
        if (differing.empty()) return printNote(say("Everything has its default value."));
        Table table({say("NAME"), say("DEFAULT"), say("NOW")});
        for (const auto& [group, param] : differing) {
            table.add({{nameOf(*group, *param)},
                       {panelkit::printDefault(*param)},
                       {shown(*group, *param, reveal), Mood::good}});
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
        printJson(configToJson(readPlaces(draft, names), reveal, leftOut));
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
        const Place standard = findParameter(name);
        ConfigDraft draft;
        std::string problem;
        const Place place = inService(draft, standard, problem);
        const bool isRead = problem.empty();
        if (context.json) {
            ordered_json record = parameterToJson(*place.group, *place.param, reveal);
            if (!isRead) {
                printNote(escaped(problem));
                record["value"] = record["text"] = record["isDefault"] = nullptr;
            }
            describeInJson(record, *place.param);
            return printJson(record);
        }
        const std::string value = shown(*place.group, *place.param, reveal);
        print(place, isRead ? value : '(' + problem + ')', isRead);
    }

private:
    // The parameter as the service has it; with a problem, the library's own.
    static Place inService(ConfigDraft& draft, const Place& standard, std::string& problem) {
        try {
            return draft.at(standard);
        } catch (const CommandError& error) {
            problem = error.what();
            return standard;
        }
    }

    static void print(const Place& place, const std::string& value, bool isRead) {
        const Param& param = *place.param;
        printLine(nameOf(*place.group, param));
        printField(say("label"), param.label);
        if (*param.help && &param.help != &param.label) printField(say("help"), helpOf(param, isRead));
        printField(say("value"), value);
        printField(say("default"), panelkit::printDefault(param));
        if (const auto* choice = dynamic_cast<const LPARAMS::Client::EnumParam*>(&param)) return printChoices(*choice);
        printField(say("legal"), panelkit::legalValues(param));
    }

    // Of a help with a half for each state, the half of the present state; both when that is not known.
    static std::string helpOf(const Param& param, bool isRead) {
        using LPARAMS::Client::BoolParam;
        std::string help = param.help;
        const auto* flag = dynamic_cast<const BoolParam*>(&param);
        const std::string marker = BoolParam::HelpMarker();
        const std::size_t at = flag ? help.find(marker) : std::string::npos;
        if (at == std::string::npos) return help;
        if (!isRead) return help.substr(0, at) + BoolParam::HelpMarkerReplaceBy() + help.substr(at + marker.size());
        return flag->value ? help.substr(0, at) : help.substr(at + marker.size());
    }

    static void printChoices(const LPARAMS::Client::EnumParam& choice) {
        Table table({say("CHOICE"), say("NUMBER"), say("SYMBOLIC NAME")});
        for (const LPARAMS::Variant* row = choice.variants; row->text; ++row) {
            const Mood mood = row->value == choice.value ? Mood::good : Mood::plain;
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
}

} // namespace panelctl
